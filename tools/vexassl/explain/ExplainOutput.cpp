#include "explain/ExplainOutput.h"

#include "common/JsonLine.h"
#include "common/Output.h"
#include "common/Text.h"

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

const char* purposeWord(const PurposeVerdict& verdict) {
    return verdict.forServer ? "server" : "client";
}

std::int64_t numberOf(std::size_t place) {
    return static_cast<std::int64_t>(place) + 1;
}

std::string logLine(const LoggedLine& line) {
    return std::string("    [") + severityName(line.severity) + "] " + shownLine(line.text);
}

// --- For a user.

class PersonPrinter {
public:
    explicit PersonPrinter(const ExplainedChain& chain)
        : chain(chain), explanation(chain.explanation) {}

    void print() {
        writeLine((chain.number > 1 ? "\n" : "") + painter.paint(Colour::Bold, chain.title) +
                  ", judged for " + utcText(explanation.at));
        for (std::size_t i = 0; i < explanation.certificates.size(); ++i) {
            printCertificate(i);
        }
        for (const PurposeVerdict& purpose : explanation.purposes) {
            printPurpose(purpose);
        }
        if (!chain.connection.empty()) {
            writeLine("\na connection by the library logs:");
            printLines(chain.connection);
        }
        if (!chain.connectionFailure.empty()) {
            writeLine("\na connection by the library fails: " +
                      printableText(std::string_view(chain.connectionFailure)));
        }
    }

private:
    std::string place(std::size_t certificate) const {
        return "[" + std::to_string(certificate + 1) + "] " +
               shownTitle(explanation.certificates[certificate].facts);
    }

    void printCertificate(std::size_t at) const {
        const KnownCertificate& certificate = explanation.certificates[at];
        writeLine("\n" + painter.paint(Colour::Bold, place(at)));
        for (const std::string& line : factLines(certificate.facts)) {
            writeLine("    " + line);
        }
        const std::string origin =
            certificate.wasGiven ? chain.givenAs : "added by this system to complete the chain";
        writeLine("    origin      " + origin +
                  (explanation.isUnused(at) ? "; no chain needs it" : ""));
    }

    void printPurpose(const PurposeVerdict& purpose) const {
        const std::string verdict = purpose.trusted ? painter.paint(Colour::Green, "trusted")
                                                    : painter.paint(Colour::Red, "not trusted");
        std::string line = "\nfor ";
        line += purposeWord(purpose);
        line += " authentication: ";
        line += verdict;
        writeLine(line);
        if (!purpose.trusted) {
            writeLine("  status " + std::to_string(purpose.status) + " (" + purpose.statusText +
                      ")");
        }
        for (const ElementVerdict& element : purpose.elements) {
            writeLine("  " + place(element.certificate) +
                      (element.faults.empty() ? ": nothing wrong with it" : ":"));
            printFaults(element.faults);
        }
        printFaults(purpose.faults);
        printName(purpose);
        writeLine("  the library logs of it:");
        printLines(purpose.lines);
    }

    void printFaults(const std::vector<Fault>& faults) const {
        for (const Fault& fault : faults) {
            writeLine("      " + painter.paint(Colour::Red, fault.identifier) + ": " + fault.cause);
            writeLine("      remedy: " + fault.remedy);
        }
    }

    void printName(const PurposeVerdict& purpose) const {
        const std::string name = "  name [" + printableText(std::string_view(chain.name)) + "]: ";
        switch (purpose.name) {
        case NameVerdict::NotAsked:
            return;
        case NameVerdict::Borne:
            writeLine(name + "the certificate is made out to it");
            return;
        case NameVerdict::NotBorne:
            writeLine(name + "the certificate isn't made out to it");
            printFaults({*purpose.nameFault});
            return;
        case NameVerdict::NotPermitted:
            writeLine(name + "its authorities don't permit it");
            printFaults({*purpose.nameFault});
            return;
        case NameVerdict::NotJudged:
            writeLine(name + "not judged, the chain has a graver fault");
            return;
        }
    }

    static void printLines(const std::vector<LoggedLine>& lines) {
        for (const LoggedLine& line : lines) {
            writeLine(logLine(line));
        }
    }

    const ExplainedChain& chain;
    const ChainExplanation& explanation;
    const Painter painter{stdout};
};

// --- For a script.

JsonLine objectOf(const ExplainedChain& chain, const char* type) {
    JsonLine line;
    line.text("type", type).number("chain", static_cast<std::int64_t>(chain.number));
    return line;
}

JsonLine objectOf(const Fault& fault) {
    JsonLine line;
    line.text("fault", fault.identifier).text("cause", fault.cause).text("remedy", fault.remedy);
    return line;
}

std::vector<JsonLine> objectsOf(const std::vector<Fault>& faults) {
    std::vector<JsonLine> objects;
    for (const Fault& fault : faults) {
        objects.push_back(objectOf(fault));
    }
    return objects;
}

void printCertificate(const ExplainedChain& chain, std::size_t at) {
    const KnownCertificate& certificate = chain.explanation.certificates[at];
    JsonLine line = objectOf(chain, "certificate");
    line.number("certificate", numberOf(at));
    addFacts(line, certificate.facts);
    line.text("origin", certificate.wasGiven ? "given" : "system")
        .boolean("used", !chain.explanation.isUnused(at));
    writeLine(line.str());
}

void printElements(const ExplainedChain& chain, const PurposeVerdict& purpose) {
    for (std::size_t i = 0; i < purpose.elements.size(); ++i) {
        const ElementVerdict& element = purpose.elements[i];
        writeLine(objectOf(chain, "element")
                      .text("purpose", purposeWord(purpose))
                      .number("place", numberOf(i))
                      .number("certificate", numberOf(element.certificate))
                      .boolean("well", element.faults.empty())
                      .list("faults", objectsOf(element.faults))
                      .str());
    }
}

const char* nameWord(NameVerdict verdict) {
    switch (verdict) {
    case NameVerdict::Borne:
        return "borne";
    case NameVerdict::NotBorne:
        return "not-borne";
    case NameVerdict::NotPermitted:
        return "not-permitted";
    case NameVerdict::NotJudged:
        return "not-judged";
    case NameVerdict::NotAsked:
        break;
    }
    return "not-asked";
}

void printVerdict(const ExplainedChain& chain, const PurposeVerdict& purpose) {
    if (purpose.name != NameVerdict::NotAsked) {
        JsonLine line = objectOf(chain, "name");
        line.text("purpose", purposeWord(purpose))
            .text("name", chain.name)
            .text("verdict", nameWord(purpose.name));
        line.list("faults",
                  purpose.nameFault ? objectsOf({*purpose.nameFault}) : std::vector<JsonLine>());
        writeLine(line.str());
    }
    writeLine(objectOf(chain, "verdict")
                  .text("purpose", purposeWord(purpose))
                  .boolean("trusted", purpose.trusted)
                  .number("status", static_cast<std::int64_t>(purpose.status))
                  .text("statusText", purpose.statusText)
                  .list("faults", objectsOf(purpose.faults))
                  .str());
}

void printLines(const ExplainedChain& chain, const char* purpose,
                const std::vector<LoggedLine>& lines) {
    for (const LoggedLine& logged : lines) {
        writeLine(objectOf(chain, "log")
                      .text("purpose", purpose)
                      .text("severity", severityName(logged.severity))
                      .text("text", logged.text)
                      .str());
    }
}

} // namespace

void printForPerson(const ExplainedChain& chain) {
    PersonPrinter(chain).print();
}

void printPem(const ExplainedChain& chain) {
    for (const KnownCertificate& certificate : chain.explanation.certificates) {
        writeText(pemText(certificate.facts));
    }
}

void printForScript(const ExplainedChain& chain) {
    writeLine(objectOf(chain, "chain")
                  .text("title", chain.title)
                  .text("at", utcTextForScripts(chain.explanation.at))
                  .str());
    for (std::size_t i = 0; i < chain.explanation.certificates.size(); ++i) {
        printCertificate(chain, i);
    }
    for (const PurposeVerdict& purpose : chain.explanation.purposes) {
        printElements(chain, purpose);
        printVerdict(chain, purpose);
        printLines(chain, purposeWord(purpose), purpose.lines);
    }
    printLines(chain, "connection", chain.connection);
    if (!chain.connectionFailure.empty()) {
        writeLine(objectOf(chain, "note")
                      .text("id", "no-connection")
                      .text("message", chain.connectionFailure)
                      .str());
    }
}

} // namespace VexaSsl::tool
