#include "starttls/Protocols.h"

#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

using namespace std::string_view_literals;

// The length of the message, including itself, and the number of the request.
constexpr std::string_view request = "\x00\x00\x00\x08\x04\xd2\x16\x2f"sv;

} // namespace

// The reply is one byte: S for yes, N for no. A server that doesn't know the request, or has a
// problem, sends an error message; it can't be trusted and isn't read.
void requestTlsOverPostgres(CleartextDialog& dialog) {
    dialog.send(request);
    const std::string answer = dialog.readBytes(1);
    if (answer == "N") {
        dialog.refuse("the server doesn't offer TLS");
    }
    if (answer != "S") {
        dialog.refuse("expected [S] or [N] of the server, got", answer);
    }
}

} // namespace VexaSsl::tool
