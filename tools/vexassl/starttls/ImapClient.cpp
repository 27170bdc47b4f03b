#include "starttls/Protocols.h"

#include <string>

namespace VexaSsl::tool {

namespace {

// Untagged lines precede the reply and are skipped. Capabilities sent before TLS can't be trusted,
// so the client asks for TLS without asking for them.
void expectOk(CleartextDialog& dialog, const std::string& tag) {
    while (true) {
        const std::string line = dialog.readLine();
        if (line.starts_with(tag + " OK")) {
            return;
        }
        if (!line.starts_with("* ") || line.starts_with("* BYE")) {
            dialog.refuse("expected consent to STARTTLS, got", line);
        }
    }
}

} // namespace

void requestTlsOverImap(CleartextDialog& dialog) {
    const std::string greeting = dialog.readLine();
    if (!greeting.starts_with("* OK")) {
        dialog.refuse("expected a greeting [* OK ...], got", greeting);
    }
    dialog.send("a1 STARTTLS\r\n");
    expectOk(dialog, "a1");
}

} // namespace VexaSsl::tool
