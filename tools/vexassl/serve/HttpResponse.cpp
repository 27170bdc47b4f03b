#include "serve/HttpResponse.h"
#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '&':
            result += "&amp;";
            break;
        case '"':
            result += "&quot;";
            break;
        default:
            result.push_back(c >= 0x20 && c < 0x7F ? c : '?');
        }
    }
    return result;
}

std::string page(const ConnectionFacts& facts) {
    std::string text = "<!doctype html>\n<html lang=\"en\"><head><title>vexassl</title></head>\n"
                       "<body><h1>vexassl serve</h1>\n<table>\n";
    for (const auto& [name, value] : facts) {
        text += "<tr><th>" + escaped(name) + "</th><td>" + escaped(value) + "</td></tr>\n";
    }
    return text + "</table></body></html>\n";
}

std::string answer(const std::string& status, const std::string& body, bool withBody = true) {
    const std::string head =
        "HTTP/1.1 " + status + "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " +
        std::to_string(body.size()) + "\r\nCache-Control: no-store\r\nConnection: close\r\n";
    const std::string allow = status.starts_with("405") ? "Allow: GET, HEAD\r\n" : "";
    return head + allow + "\r\n" + (withBody ? body : "");
}

std::string refusal(const std::string& status) {
    return answer(status, "<!doctype html>\n<title>" + status + "</title>\n");
}

std::string responseTo(std::string_view head, const ConnectionFacts& facts) {
    const std::string_view line = head.substr(0, head.find("\r\n"));
    const std::size_t methodEnd = line.find(' ');
    const std::size_t targetEnd = line.rfind(' ');
    if (methodEnd == std::string_view::npos || targetEnd == methodEnd ||
        !line.substr(targetEnd + 1).starts_with("HTTP/1.")) {
        return refusal("400 Bad Request");
    }
    const std::string_view method = line.substr(0, methodEnd);
    if (method != "GET" && method != "HEAD") {
        return refusal("405 Method Not Allowed");
    }
    ConnectionFacts shown = facts;
    shown.emplace_back("request", line);
    return answer("200 OK", page(shown), method == "GET");
}

} // namespace

void WebRequest::append(std::string_view bytes) {
    constexpr std::string_view blankLine = "\r\n\r\n";
    received += bytes;
    const std::size_t end = received.find(blankLine);
    headSize = end == std::string::npos ? 0 : end + blankLine.size();
}

bool WebRequest::isComplete() const {
    return headSize != 0 || received.size() > maximumRequestHead;
}

std::string WebRequest::response(const ConnectionFacts& facts) const {
    if (headSize == 0 || headSize > maximumRequestHead) {
        return refusal("431 Request Header Fields Too Large");
    }
    return responseTo(std::string_view(received).substr(0, headSize), facts);
}

} // namespace VexaSsl::tool
