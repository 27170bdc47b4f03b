// The part of HTTP that serve --www needs: finds the end of a request's head and makes the
// response. One request for each connection; every response has a Content-Length and Connection:
// close.
//
// No input or output. One thread at a time.
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

class WebRequest {
public:
    void append(std::string_view bytes);
    // Whether the head is complete or too long, so that there is a response.
    bool isComplete() const;
    // Returns the page for GET, its headers for HEAD, 405 for another method, 400 for an invalid
    // HTTP/1 request line, 431 for a head that is too long.
    std::string response(const ConnectionFacts& facts) const;

private:
    std::string received;
    std::size_t headSize = 0; // with its empty line; 0 while it is incomplete
};

} // namespace VexaSsl::tool
