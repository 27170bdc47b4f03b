// The part of HTTP that serve --www needs: finds the end of a request's head and makes the
// response. One request for each connection; every response has a Content-Length and Connection:
// close.
//
// Plain functions on text, no input or output.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

// The longest head that is read; a longer one gets a 431.
inline constexpr std::size_t maximumRequestHead = 16384;

// Names and values, in the order of the page.
using ConnectionFacts = std::vector<std::pair<std::string, std::string>>;

// Returns the size of the head with its empty line, or 0 while it is incomplete.
std::size_t requestHeadSize(std::string_view received);

// Returns the response to a head: the page for GET, its headers for HEAD, 405 for another method,
// 400 for an invalid HTTP/1 request line.
std::string httpResponse(std::string_view head, const ConnectionFacts& facts);

// Returns the response to a head that is too long.
std::string httpHeadTooLong();

} // namespace VexaSsl::tool
