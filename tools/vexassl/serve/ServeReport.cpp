#include "serve/ServeReport.h"

#include "common/JsonLine.h"
#include "common/Output.h"
#include "common/Text.h"
#include "starttls/SmtpSession.h"

#include <cstdint>
#include <exception>
#include <mutex>
#include <string>

namespace VexaSsl::tool {

namespace {

JsonLine objectOf(const char* type, unsigned long number) {
    JsonLine line;
    line.text("type", type).number("connection", static_cast<std::int64_t>(number));
    return line;
}

std::string messageText(unsigned long number, const Envelope& envelope) {
    std::string text = "#" + std::to_string(number) + " message from " + envelope.sender + " for";
    for (const std::string& recipient : envelope.recipients) {
        text += " " + recipient;
    }
    return text + ", " + std::to_string(envelope.size) + " bytes, thrown away";
}

} // namespace

// Called at the end of a connection, where nothing may be thrown.
template <typename Make>
void ServeReport::print(Make makeLine) noexcept {
    try {
        const std::string line = makeLine().str();
        const std::lock_guard lock(mutex);
        writeLine(line);
    } catch (const std::exception&) {
        complete = false;
    }
}

void ServeReport::listening(const std::string& address) const {
    writeLine(json ? JsonLine().text("type", "listening").text("address", address).str()
                   : "listening on " + address);
}

void ServeReport::begun(unsigned long number, const std::string& peer) {
    if (json) {
        print([&] { return objectOf("begun", number).text("peer", peer); });
    }
}

void ServeReport::message(unsigned long number, const Envelope& envelope) {
    if (!json) {
        printer.print(printableText(messageText(number, envelope)));
        return;
    }
    print([&] {
        return objectOf("message", number)
            .text("sender", envelope.sender)
            .list("recipients", envelope.recipients)
            .number("size", static_cast<std::int64_t>(envelope.size));
    });
}

void ServeReport::failed(unsigned long number, const std::string& text) {
    if (!json) {
        printer.print("vexassl: #" + std::to_string(number) + ": " + text);
    }
}

void ServeReport::ended(unsigned long number, const std::string& peer, ExitStatus outcome,
                        const std::string& text) {
    if (!json) {
        return;
    }
    print([&] {
        JsonLine line = objectOf("ended", number);
        line.text("peer", peer)
            .text("outcome", exitStatusName(outcome))
            .number("status", static_cast<std::int64_t>(outcome));
        return text.empty() ? line.nothing("message") : line.text("message", text);
    });
}

} // namespace VexaSsl::tool
