// The little of HTTP that serve --www needs: find the end of a request's head, and make the answer.
// One request a connection; every answer has a Content-Length and announces Connection: close.
//
// Plain functions on text, no input or output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

// The longest head that is taken; a longer one is answered with 431.
inline constexpr std::size_t maximumRequestHead = 16384;

// Name and value, in the order of the page.
using ConnectionFacts = std::vector<std::pair<std::string, std::string>>;

// The size of the head with its blank line, or 0 while it isn't complete.
std::size_t requestHeadSize(std::string_view received);

// The whole answer to a head: the page for GET, the same without it for HEAD, 405 for another
// method, 400 for what is no HTTP/1 request line.
std::string httpResponse(std::string_view head, const ConnectionFacts& facts);

// The answer to a head that is too long.
std::string httpHeadTooLong();

} // namespace VexaSsl::tool
