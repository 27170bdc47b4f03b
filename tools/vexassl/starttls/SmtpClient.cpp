#include "starttls/Protocols.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>

namespace VexaSsl::tool {

namespace {

bool isWord(std::string_view text, std::string_view upperWord) {
    return std::equal(text.begin(), text.end(), upperWord.begin(), upperWord.end(),
                      [](unsigned char a, char b) { return std::toupper(a) == b; });
}

// A reply is lines "250-text" and a last line "250 text". Returns whether one of its texts begins
// with the keyword.
bool expectReply(CleartextDialog& dialog, std::string_view code, std::string_view keyword = "") {
    bool found = false;
    while (true) {
        const std::string line = dialog.readLine();
        const bool isLast = line.size() == 3 || (line.size() > 3 && line[3] == ' ');
        if (!line.starts_with(code) || (!isLast && line[3] != '-')) {
            dialog.refuse("expected " + std::string(code) + " of the server, got", line);
        }
        const std::string_view text =
            std::string_view(line).substr(std::min<std::size_t>(line.size(), 4));
        found = found || isWord(text.substr(0, text.find(' ')), keyword);
        if (isLast) {
            return found;
        }
    }
}

} // namespace

// The name in the EHLO doesn't matter: the server forgets it at the switch.
void requestTlsOverSmtp(CleartextDialog& dialog) {
    expectReply(dialog, "220");
    dialog.send("EHLO vexassl.invalid\r\n");
    if (!expectReply(dialog, "250", "STARTTLS")) {
        dialog.refuse("the server doesn't offer STARTTLS");
    }
    dialog.send("STARTTLS\r\n");
    expectReply(dialog, "220");
}

} // namespace VexaSsl::tool
