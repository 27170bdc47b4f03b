#include "starttls/Agreements.h"

#include <string>

namespace VexaSsl::tool {

namespace {

void expectOk(ClearDialog& dialog, const std::string& what) {
    const std::string line = dialog.readLine();
    if (!line.starts_with("+OK")) {
        dialog.refuse("expected " + what + " [+OK ...], got", line);
    }
}

} // namespace

void agreeOverPop3(ClearDialog& dialog) {
    expectOk(dialog, "a greeting");
    dialog.send("STLS\r\n");
    expectOk(dialog, "consent to STLS");
}

} // namespace VexaSsl::tool
