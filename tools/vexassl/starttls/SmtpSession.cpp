#include "starttls/SmtpSession.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace VexaSsl::tool {

namespace {

constexpr std::size_t longestAddress = 320;

std::string upper(std::string_view text) {
    std::string result(text);
    for (char& c : result) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return result;
}

std::string_view withoutEnd(std::string_view line) {
    while (line.ends_with('\n') || line.ends_with('\r') || line.ends_with(' ')) {
        line.remove_suffix(1);
    }
    return line;
}

// Returns the address in brackets after "FROM:" or "TO:", or an empty text when it is invalid.
std::string addressAfter(std::string_view argument, std::string_view label) {
    if (!upper(argument.substr(0, label.size())).starts_with(label)) {
        return {};
    }
    argument.remove_prefix(label.size());
    argument.remove_prefix(std::min(argument.find_first_not_of(' '), argument.size()));
    const std::size_t end = argument.find('>');
    const bool isAddress =
        argument.starts_with('<') && end != std::string_view::npos && end < longestAddress;
    return isAddress ? std::string(argument.substr(0, end + 1)) : std::string();
}

SmtpSession::Answer proceed(const std::string& text) {
    return {text + "\r\n", SmtpSession::Next::Command};
}

} // namespace

SmtpSession::Answer SmtpSession::greeting() const {
    return proceed("220 vexassl ESMTP, takes mail and keeps none");
}

SmtpSession::Answer SmtpSession::command(std::string_view line, bool surplus) {
    line = withoutEnd(line);
    const std::size_t space = std::min(line.find(' '), line.size());
    const std::string verb = upper(line.substr(0, space));
    std::string_view argument = line.substr(space);
    argument.remove_prefix(std::min(argument.find_first_not_of(' '), argument.size()));
    if (verb == "EHLO" || verb == "HELO") {
        return hello(argument, verb == "EHLO");
    }
    if (verb == "STARTTLS") {
        return startTls(argument, surplus);
    }
    if (verb == "NOOP") {
        return proceed("250 2.0.0 well");
    }
    if (verb == "RSET") {
        return reset();
    }
    if (verb == "HELP") {
        return proceed("214 2.0.0 EHLO HELO STARTTLS MAIL RCPT DATA RSET NOOP VRFY HELP QUIT");
    }
    if (verb == "VRFY") {
        return argument.empty() ? wrong("501 5.5.4 an address is missing")
                                : proceed("252 2.1.5 any address is taken");
    }
    if (verb == "QUIT") {
        return {"221 2.0.0 goodbye\r\n", Next::Disconnect};
    }
    if (!isSecured && (verb == "MAIL" || verb == "RCPT" || verb == "DATA" || verb == "AUTH")) {
        return wrong("530 5.7.0 must issue a STARTTLS command first");
    }
    if (verb == "MAIL") {
        return mailFrom(argument);
    }
    if (verb == "RCPT") {
        return recipientTo(argument);
    }
    if (verb == "DATA") {
        return data();
    }
    return wrong("502 5.5.1 no such command here");
}

SmtpSession::Answer SmtpSession::hello(std::string_view argument, bool extended) {
    if (argument.empty()) {
        return wrong("501 5.5.4 a name is missing");
    }
    isGreeted = true;
    hasSender = false;
    if (!extended) {
        return proceed("250 vexassl");
    }
    std::string extensions = "250-vexassl\r\n250-SIZE " + std::to_string(largestMessage);
    extensions += "\r\n250-8BITMIME\r\n250-ENHANCEDSTATUSCODES";
    extensions += isSecured ? "" : "\r\n250-STARTTLS";
    return proceed(extensions + "\r\n250 HELP");
}

// What the client sent after the command arrived in the clear and may be an attacker's: to take it
// as the first commands inside TLS would be the well-known command injection. It ends the
// connection.
SmtpSession::Answer SmtpSession::startTls(std::string_view argument, bool surplus) {
    if (isSecured) {
        return wrong("503 5.5.1 TLS is on already");
    }
    if (!argument.empty()) {
        return wrong("501 5.5.4 STARTTLS takes no argument");
    }
    if (surplus) {
        return {"554 5.7.0 clear text after STARTTLS\r\n", Next::Refuse};
    }
    return {"220 2.0.0 ready to start TLS\r\n", Next::StartTls};
}

void SmtpSession::secured() {
    isSecured = true;
    isGreeted = false;
    hasSender = false;
    errors = 0;
}

SmtpSession::Answer SmtpSession::mailFrom(std::string_view argument) {
    if (!isGreeted || hasSender) {
        return outOfOrder();
    }
    std::string sender = addressAfter(argument, "FROM:");
    if (sender.empty()) {
        return wrong("501 5.1.7 an address <name@host> is missing");
    }
    hasSender = true;
    mail = {.sender = std::move(sender), .recipients = {}, .size = 0};
    return proceed("250 2.1.0 well");
}

SmtpSession::Answer SmtpSession::recipientTo(std::string_view argument) {
    if (!hasSender) {
        return outOfOrder();
    }
    std::string recipient = addressAfter(argument, "TO:");
    if (recipient.empty() || recipient == "<>") {
        return wrong("501 5.1.3 an address <name@host> is missing");
    }
    if (mail.recipients.size() == mostRecipients) {
        return wrong("452 4.5.3 too many recipients");
    }
    mail.recipients.push_back(std::move(recipient));
    return proceed("250 2.1.5 well");
}

SmtpSession::Answer SmtpSession::data() {
    if (!hasSender || mail.recipients.empty()) {
        return outOfOrder();
    }
    tail = "\r\n";
    return {"354 send the message, end it with a dot alone\r\n", Next::Content};
}

// Only a dot between two whole line ends is the end. A server that accepts a bare line feed too can
// be made to see a second message inside the first.
SmtpSession::Answer SmtpSession::content(std::string_view piece) {
    if (tail == "\r\n" && piece == ".\r\n") {
        hasSender = false;
        return proceed("250 2.0.0 taken and thrown away");
    }
    mail.size += piece.size();
    if (mail.size > largestMessage) {
        return {"552 5.3.4 the message is too large\r\n", Next::Disconnect};
    }
    tail += piece;
    tail = tail.substr(tail.size() - 2);
    return {"", Next::Content};
}

SmtpSession::Answer SmtpSession::lineTooLong() const {
    return {"500 5.5.2 the line is too long\r\n", Next::Disconnect};
}

SmtpSession::Answer SmtpSession::reset() {
    hasSender = false;
    return proceed("250 2.0.0 well");
}

SmtpSession::Answer SmtpSession::outOfOrder() {
    return wrong("503 5.5.1 not in this order");
}

SmtpSession::Answer SmtpSession::wrong(const std::string& text) {
    if (++errors == mostErrors) {
        return {"421 4.7.0 too many errors\r\n", Next::Disconnect};
    }
    return proceed(text);
}

} // namespace VexaSsl::tool
