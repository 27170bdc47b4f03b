// A request to the tool's web page, which is answered as soon as its header is complete.
#include "Harness.h"

#include "serve/HttpResponse.h"

#include <algorithm>

namespace {

using namespace VexaSsl;
using fuzz::require;

std::string plainPage() {
    tool::WebRequest request;
    request.append("GET / HTTP/1.1\r\n\r\n");
    return request.response({});
}

void requireAnswer(std::string_view answer, std::string_view head) {
    const std::size_t end = answer.find("\r\n\r\n");
    require(end != std::string_view::npos, "a response has a header");
    const std::string_view answered = answer.substr(0, end);
    const std::string_view body = answer.substr(end + 4);
    const bool isPage = answered.starts_with("HTTP/1.1 200 OK\r\n");
    require(isPage || answered.starts_with("HTTP/1.1 400 ") ||
                answered.starts_with("HTTP/1.1 405 ") || answered.starts_with("HTTP/1.1 431 "),
            "the status is one of four");
    const auto lines = std::count(answered.begin(), answered.end(), '\n');
    require(lines == (answered.starts_with("HTTP/1.1 405 ") ? 5 : 4),
            "a request adds no header field to the response");
    const bool isHead = isPage && head.starts_with("HEAD ");
    require(body.empty() == isHead, "only a response to HEAD has no body");
    require(isHead || answered.find("\r\nContent-Length: " + std::to_string(body.size()) +
                                    "\r\n") != std::string_view::npos,
            "Content-Length is the size of the body");
    require(std::all_of(
                answer.begin(), answer.end(),
                [](unsigned char c) { return c == '\r' || c == '\n' || (c >= 0x20 && c < 0x7F); }),
            "a response is printable");
    const auto tags = std::count(body.begin(), body.end(), '<');
    static const std::string plain = plainPage();
    require(!isPage || isHead || tags == std::count(plain.begin(), plain.end(), '<'),
            "a request adds no tag to the page");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzz::Input(data, size).rest();
    tool::WebRequest whole;
    whole.append(bytes);
    tool::WebRequest inPieces;
    for (const char& byte : bytes) {
        if (inPieces.isComplete()) {
            break;
        }
        inPieces.append({&byte, 1});
    }
    require(whole.isComplete() == inPieces.isComplete(), "pieces make the same request");
    if (whole.isComplete()) {
        requireAnswer(whole.response({}), bytes);
        requireAnswer(inPieces.response({}), bytes);
    }
    return 0;
}
