#include "starttls/Protocols.h"

#include <string>

namespace VexaSsl::tool {

namespace {

void expectOk(CleartextDialog& dialog, const std::string& what) {
    const std::string line = dialog.readLine();
    if (!line.starts_with("+OK")) {
        dialog.refuse("expected " + what + " [+OK ...], got", line);
    }
}

} // namespace

void requestTlsOverPop3(CleartextDialog& dialog) {
    expectOk(dialog, "a greeting");
    dialog.send("STLS\r\n");
    expectOk(dialog, "consent to STLS");
}

} // namespace VexaSsl::tool
