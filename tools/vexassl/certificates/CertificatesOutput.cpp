#include "certificates/CertificatesOutput.h"

#include "common/JsonLine.h"
#include "common/Output.h"
#include "common/Text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

const char* roleWord(bool isServer) {
    return isServer ? "server" : "client";
}

std::int64_t numberOf(std::size_t place) {
    return static_cast<std::int64_t>(place) + 1;
}

// --- For a user.

std::string keyLine(const PersonalCertificate& certificate) {
    switch (certificate.key) {
    case KeyVerdict::Usable:
        return "there, and usable by this account";
    case KeyVerdict::Unreadable:
        return "there, but this account can't use it (it may not read the file, or the key needs a "
               "pass phrase): " +
               certificate.keyText;
    case KeyVerdict::Missing:
        return "missing: " + certificate.keyText;
    case KeyVerdict::Refused:
        break;
    }
    const std::string weakness = weaknessOf(certificate.facts.key);
    return "refused: " + certificate.keyText + (weakness.empty() ? "" : ": " + weakness);
}

std::string trustLine(const PersonalCertificate& certificate, bool forServer) {
    return certificate.trusted[forServer] ? "trusted"
                                          : "not trusted: " + certificate.reason[forServer];
}

std::string expiryNote(const CertificateFacts& facts) {
    const UtcTime now = currentTime();
    if (now > facts.notAfter) {
        return " (expired)";
    }
    constexpr UtcTime day = UtcTime{24} * 60 * 60;
    return " (" + std::to_string((facts.notAfter - now) / day) + " days left)";
}

void printCertificate(const Painter& painter, const PersonalCertificate& certificate,
                      std::size_t place) {
    writeLine("\n" + painter.paint(Colour::Bold, "[" + std::to_string(place + 1) + "] " +
                                                     shownTitle(certificate.facts)));
    for (const std::string& line : factLines(certificate.facts)) {
        const bool isValidity = line.starts_with("valid ");
        writeLine("    " + line + (isValidity ? expiryNote(certificate.facts) : ""));
    }
    writeLine("    key         " + keyLine(certificate));
    writeLine("    as server   " + trustLine(certificate, true));
    writeLine("    as client   " + trustLine(certificate, false));
}

void printChoice(const Painter& painter, const RoleChoice& choice,
                 const CertificateListing& listing) {
    writeLine("\nconnection [" + printableText(std::string_view(choice.connection)) + "] as " +
              roleWord(choice.isServer) + ": " + choice.text);
    if (choice.chosen) {
        writeLine("    takes [" + std::to_string(*choice.chosen + 1) + "] " +
                  shownTitle(listing.all[*choice.chosen].facts));
    }
    if (!choice.failure.empty()) {
        writeLine("    " + painter.paint(Colour::Red, "fails") + ": " + choice.failure);
    }
    for (const Loss& loss : choice.losses) {
        const auto& places = listing.places;
        if (std::find(places.begin(), places.end(), loss.certificate) != places.end()) {
            writeLine("    not [" + std::to_string(loss.certificate + 1) + "] " +
                      shownTitle(listing.all[loss.certificate].facts) + ": " + loss.text);
        }
    }
}

void printUnused(const std::vector<UnusedFile>& files) {
    if (!files.empty()) {
        writeLine("\nfiles that are not used, and why:");
    }
    for (const UnusedFile& file : files) {
        writeLine("    " + file.path + ": " + file.text);
    }
}

// --- For a script.

void printObject(const PersonalCertificate& certificate, std::size_t place) {
    JsonLine line;
    line.text("type", "certificate").number("certificate", numberOf(place));
    addFacts(line, certificate.facts);
    line.text("key", keyWord(certificate.key));
    if (!certificate.keyText.empty()) {
        line.text("keyStatus", certificate.keyText);
    }
    for (const bool forServer : {true, false}) {
        JsonLine trust;
        trust.boolean("trusted", certificate.trusted[forServer])
            .boolean("usable", certificate.isUsable(forServer));
        if (!certificate.trusted[forServer]) {
            trust.text("reason", certificate.reason[forServer]);
        }
        line.object(roleWord(forServer), trust);
    }
    writeLine(line.str());
}

void printObject(const RoleChoice& choice) {
    JsonLine line;
    line.text("type", "choice")
        .text("connection", choice.connection)
        .text("role", roleWord(choice.isServer))
        .text("choice", choice.identifier)
        .text("text", choice.text);
    if (choice.chosen) {
        line.number("certificate", numberOf(*choice.chosen));
    } else {
        line.nothing("certificate");
    }
    if (choice.failure.empty()) {
        line.nothing("failure");
    } else {
        line.text("failure", choice.failure);
    }
    writeLine(line.str());
    for (const Loss& loss : choice.losses) {
        writeLine(JsonLine()
                      .text("type", "loss")
                      .text("connection", choice.connection)
                      .text("role", roleWord(choice.isServer))
                      .number("certificate", numberOf(loss.certificate))
                      .text("reason", loss.identifier)
                      .text("text", loss.text)
                      .str());
    }
}

} // namespace

void printForPerson(const CertificateListing& listing) {
    const Painter painter(stdout);
    writeLine(std::to_string(listing.places.size()) + " of " + std::to_string(listing.all.size()) +
              " certificates in the personal store");
    for (const std::size_t place : listing.places) {
        printCertificate(painter, listing.all[place], place);
    }
    printUnused(listing.unused);
    for (const RoleChoice& choice : listing.choices) {
        printChoice(painter, choice, listing);
    }
    if (!listing.lines.empty()) {
        writeLine("\nthe library logs about the store:");
    }
    for (const LoggedLine& line : listing.lines) {
        writeLine(std::string("    [") + severityName(line.severity) + "] " + shownLine(line.text));
    }
}

void printPem(const CertificateListing& listing) {
    for (const std::size_t place : listing.places) {
        writeText(pemText(listing.all[place].facts));
    }
}

void printForScript(const CertificateListing& listing) {
    for (const std::size_t place : listing.places) {
        printObject(listing.all[place], place);
    }
    for (const UnusedFile& file : listing.unused) {
        writeLine(JsonLine()
                      .text("type", "unused")
                      .text("file", file.path)
                      .text("reason", file.reason)
                      .text("text", file.text)
                      .str());
    }
    for (const RoleChoice& choice : listing.choices) {
        printObject(choice);
    }
    for (const LoggedLine& line : listing.lines) {
        writeLine(JsonLine()
                      .text("type", "log")
                      .text("severity", severityName(line.severity))
                      .text("text", line.text)
                      .str());
    }
}

} // namespace VexaSsl::tool
