#include "check/CheckReport.h"
#include "common/JsonLine.h"
#include "common/Output.h"
#include "common/Text.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

namespace VexaSsl::tool {

namespace {

const char* sourceName(ValueSource source) {
    switch (source) {
    case ValueSource::File:
        return "file";
    case ValueSource::Argument:
        return "argument";
    case ValueSource::Default:
        break;
    }
    return "default";
}

const char* gravityName(Gravity gravity) {
    switch (gravity) {
    case Gravity::Error:
        return "error";
    case Gravity::Warning:
        return "warning";
    case Gravity::Note:
        break;
    }
    return "note";
}

void addOrigin(JsonLine& line, const ConfigurationTrace::Origin& origin) {
    if (!origin.file.empty()) {
        line.text("file", origin.file)
            .text("section", charactersOfFileText(origin.section))
            .number("line", static_cast<std::int64_t>(origin.line));
    }
}

class ReportForScripts : public CheckReport {
public:
    void show(const CheckedConfiguration& checked, ExitStatus status) override {
        showSource(checked);
        for (const EffectiveOption& option : checked.options) {
            JsonLine line;
            line.text("type", "option")
                .text("name", option.name)
                .text("value", charactersOfFileText(option.value))
                .text("source", sourceName(option.source));
            addOrigin(line, option.origin);
            writeLine(line.str());
        }
        for (const CredentialTrial& side : checked.sides) {
            showSide(side);
        }
        for (const Finding& finding : checked.findings) {
            showFinding(finding);
        }
        showResult(checked, status);
    }

private:
    static void showSource(const CheckedConfiguration& checked) {
        JsonLine line;
        line.text("type", "configuration")
            .text("connection", charactersOfFileText(checked.connection));
        if (!checked.iniFile.empty()) {
            line.text("ini", checked.iniFile);
        }
        if (const ParsedFile* store = checked.trace.storeFile()) {
            line.text("store", store->name());
        }
        if (!checked.trace.section().empty()) {
            line.text("section", charactersOfFileText(checked.trace.section()))
                .number("line", static_cast<std::int64_t>(checked.trace.entry().line))
                .boolean("defaultEntry", checked.trace.isDefaultEntry());
        }
        if (checked.stack.empty()) {
            line.nothing("start");
        } else {
            line.text("start", checked.stack);
        }
        writeLine(line.str());
    }

    static void showSide(const CredentialTrial& side) {
        JsonLine line;
        line.text("type", "role")
            .text("role", side.isServer ? "server" : "client")
            .boolean("usable", side.usable)
            .text("choice", side.choice);
        if (side.choice == "by-name") {
            line.number("matches", static_cast<std::int64_t>(side.matches));
        }
        if (side.certificate) {
            JsonLine facts;
            addFacts(facts, *side.certificate);
            line.object("certificate", facts);
        }
        if (!side.usable) {
            line.text("cause", side.cause);
        }
        std::vector<JsonLine> log;
        for (const LoggedLine& logged : side.lines) {
            log.push_back(JsonLine()
                              .text("severity", severityName(logged.severity))
                              .text("text", logged.text));
        }
        line.list("log", log);
        writeLine(line.str());
    }

    static void showFinding(const Finding& finding) {
        JsonLine line;
        line.text("type", gravityName(finding.gravity)).text("id", finding.id);
        if (!finding.file.empty()) {
            line.text("file", finding.file);
        }
        if (finding.line != 0) {
            line.number("line", static_cast<std::int64_t>(finding.line));
        }
        writeLine(line.text("message", finding.text).str());
    }

    static void showResult(const CheckedConfiguration& checked, ExitStatus status) {
        const auto count = [&checked](Gravity gravity) {
            return std::count_if(checked.findings.begin(), checked.findings.end(),
                                 [gravity](const Finding& f) { return f.gravity == gravity; });
        };
        writeLine(JsonLine()
                      .text("type", "result")
                      .number("errors", count(Gravity::Error))
                      .number("warnings", count(Gravity::Warning))
                      .number("status", static_cast<int>(status))
                      .str());
    }
};

} // namespace

std::unique_ptr<CheckReport> reportForScripts() {
    return std::make_unique<ReportForScripts>();
}

} // namespace VexaSsl::tool
