#include "starttls/Protocols.h"

#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

using namespace std::string_view_literals;

// The length of the message, itself included, and the number that stands for the request.
constexpr std::string_view request = "\x00\x00\x00\x08\x04\xd2\x16\x2f"sv;

} // namespace

// One byte is the answer: S for yes, N for no; an old server, or one that is in trouble, sends an
// error message, which is not worth trusting and not read.
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
