#include "check/CheckReport.h"
#include "common/Output.h"
#include "common/Text.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t labelWidth = 12;
constexpr std::size_t widestValue = 32;

std::string padded(const std::string& text, std::size_t width) {
    const std::size_t shown = characters(std::string_view(text)).size();
    return text + std::string(shown < width ? width - shown : 1, ' ');
}

std::string shown(const std::wstring& text) {
    return printableText(charactersOfFileText(text));
}

std::string place(const ConfigurationTrace::Origin& origin) {
    return origin.file + ":" + std::to_string(origin.line);
}

std::string sourceText(const EffectiveOption& option) {
    switch (option.source) {
    case ValueSource::File:
        return place(option.origin) + " [" + shown(option.origin.section) + "]";
    case ValueSource::Argument:
        return "the connection name";
    case ValueSource::Default:
        break;
    }
    return "default";
}

std::string stackText(const std::string& stack) {
    if (stack == "tls") {
        return "TLS from the first byte";
    }
    if (stack == "opportunistic") {
        return "plain text until the program starts TLS";
    }
    return stack == "plain" ? "plain text" : "none: a start is refused";
}

std::string sideText(const CredentialTrial& side) {
    if (!side.usable) {
        return "no usable certificate: " + printableText(side.cause) + side.reason;
    }
    if (!side.certificate) {
        return "sends no certificate";
    }
    return shownTitle(*side.certificate) + " (names: " + shownNames(side.certificate->names) +
           "; valid until " + utcText(side.certificate->notAfter) + "), its key can be used";
}

class ReportForPeople : public CheckReport {
public:
    void show(const CheckedConfiguration& checked, ExitStatus) override {
        showFindings(checked.findings);
        showSource(checked);
        showOptions(checked.options);
        showStart(checked);
    }

private:
    // "file:7: warning: text [identifier]"
    void showFindings(const Findings& findings) const {
        std::string text;
        for (const Finding& finding : findings) {
            if (!finding.file.empty()) {
                text += finding.file + ":";
                text += finding.line == 0 ? "" : std::to_string(finding.line) + ":";
                text += " ";
            }
            text += gravityText(finding.gravity) + " " + finding.text + " [" + finding.id + "]\n";
        }
        std::fwrite(text.data(), 1, text.size(), stderr);
        std::fflush(stderr);
    }

    std::string gravityText(Gravity gravity) const {
        switch (gravity) {
        case Gravity::Error:
            return prose.paint(Colour::Red, "error:");
        case Gravity::Warning:
            return prose.paint(Colour::Yellow, "warning:");
        case Gravity::Note:
            break;
        }
        return prose.paint(Colour::Bold, "note:");
    }

    void line(const std::string& label, const std::string& text) const {
        writeLine(data.paint(Colour::Bold, padded(label, labelWidth)) + " " + text);
    }

    void showSource(const CheckedConfiguration& checked) const {
        line("connection", shown(checked.connection));
        line("ini file", checked.iniFile.empty() ? "none" : printableText(checked.iniFile));
        if (const ParsedFile* store = checked.trace.storeFile()) {
            line("store", store->name() + " (" + place(checked.trace.storePath()) + ")");
        }
        if (!checked.trace.section().empty()) {
            line("section", shown(checked.trace.section()) + " (" + place(checked.trace.entry()) +
                                (checked.trace.isDefaultEntry() ? ", the entry Default)" : ")"));
        }
    }

    void showOptions(const std::vector<EffectiveOption>& options) const {
        std::size_t nameWidth = 0;
        std::size_t valueWidth = 0;
        for (const EffectiveOption& option : options) {
            nameWidth = std::max(nameWidth, option.name.size() + 2);
            valueWidth =
                std::max(valueWidth, std::min(shown(option.value).size() + 2, widestValue));
        }
        writeLine("");
        writeLine(data.paint(Colour::Bold,
                             padded("option", nameWidth) + padded("value", valueWidth) + "from"));
        for (const EffectiveOption& option : options) {
            writeLine(padded(shown(option.name), nameWidth) +
                      padded(shown(option.value), valueWidth) + sourceText(option));
        }
        writeLine("");
    }

    void showStart(const CheckedConfiguration& checked) const {
        line("start", stackText(checked.stack));
        for (const CredentialTrial& side : checked.sides) {
            line(side.isServer ? "as a server" : "as a client", sideText(side));
        }
    }

    Painter data{stdout};
    Painter prose{stderr};
};

} // namespace

std::unique_ptr<CheckReport> reportForPeople() {
    return std::make_unique<ReportForPeople>();
}

} // namespace VexaSsl::tool
