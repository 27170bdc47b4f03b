// The part of a mail server that serve --starttls smtp needs: it takes envelopes and messages and
// discards them. In the clear it only offers STARTTLS; mail is taken inside TLS only.
//
// Text only, no input or output: a line in, a reply and the next step out. The client is taken as
// hostile: addresses, recipients, errors and the size of a message are limited.
//
// Threads: one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

// A message that was received completely.
struct Envelope {
    std::string sender; // as sent, with its brackets
    std::vector<std::string> recipients;
    std::size_t size = 0; // bytes of the message as sent
};

class SmtpSession {
public:
    enum class Next {
        Command,    // read another line and pass it to command
        Content,    // read pieces and pass them to content, while it returns Content
        StartTls,   // send the reply in the clear, run the handshake, then call secured
        Disconnect, // after the reply
        Refuse,     // the same, after clear text that followed STARTTLS
    };
    struct Answer {
        std::string text; // to be sent; may be empty
        Next next;
    };

    // Including its line end.
    static constexpr std::size_t longestLine = 2048;
    static constexpr std::size_t mostRecipients = 100;
    static constexpr std::size_t largestMessage = std::size_t{10} << 20;
    static constexpr unsigned mostErrors = 20;

    // The greeting, before any line of the client.
    Answer greeting() const;
    // A line of the client, with or without its end. surplus: more was received after it already.
    Answer command(std::string_view line, bool surplus);
    // A part of the message: it ends with a line feed, or was cut anywhere.
    Answer content(std::string_view piece);
    // The client sent a line without an end.
    Answer lineTooLong() const;

    // The handshake is done. Forgets what the client sent before.
    void secured();

    // The latest message; complete after content has returned Command.
    const Envelope& envelope() const { return mail; }

private:
    Answer hello(std::string_view argument, bool extended);
    Answer startTls(std::string_view argument, bool surplus);
    Answer mailFrom(std::string_view argument);
    Answer recipientTo(std::string_view argument);
    Answer data();
    Answer reset();
    Answer outOfOrder();
    Answer wrong(const std::string& text);

    bool isSecured = false;
    bool isGreeted = false;
    bool hasSender = false;
    Envelope mail;
    std::string tail = "\r\n"; // the last two bytes of the content so far
    unsigned errors = 0;
};

} // namespace VexaSsl::tool
