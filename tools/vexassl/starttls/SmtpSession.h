// The little of a mail server that serve --starttls smtp is: it takes envelopes and messages and
// keeps none. In the clear it does nothing but offer STARTTLS; mail is taken inside TLS only.
//
// Pure text, no input or output: a line in, an answer and what to do next out. The client is
// hostile: addresses, recipients, errors and the size of a message are bounded.
//
// Threads: one.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

// A message that was taken whole.
struct Envelope {
    std::string sender; // as given, with its brackets
    std::vector<std::string> recipients;
    std::size_t size = 0; // bytes of the message as sent
};

class SmtpSession {
public:
    enum class Next {
        Command,    // read another line and pass it to command
        Content,    // read pieces and pass them to content, until it says otherwise
        StartTls,   // the answer has been sent in the clear: run the handshake, then call secured
        Disconnect, // behind the answer
        Refuse,     // the same, of a client that sent clear text behind STARTTLS
    };
    struct Answer {
        std::string text; // to be sent; may be empty
        Next next;
    };

    // With its line end.
    static constexpr std::size_t longestLine = 2048;
    static constexpr std::size_t mostRecipients = 100;
    static constexpr std::size_t largestMessage = std::size_t{10} << 20;
    static constexpr unsigned mostErrors = 20;

    // The first words, before any line.
    Answer greeting() const;
    // A line of the client, with or without its end. surplus: more was received behind it already.
    Answer command(std::string_view line, bool surplus);
    // A part of the message: it ends behind a line feed, or was cut anywhere.
    Answer content(std::string_view piece);
    // The client sent a line without an end.
    Answer lineTooLong() const;

    // The handshake is done. What the client said before is forgotten.
    void secured();

    // The latest message; whole behind the answer of content that goes back to Command.
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
