// An ILog of the host's own. Any thread may use it. It writes lines with their time to standard
// error in UTF-8 and keeps warnings and errors for the host.
//
//   own_log INI-FILE CONNECTION
//
// Reads the configuration of a connection and prints the number of warnings and errors.
#include <VexaSsl/VexaSsl.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <mutex>
#include <string>
#include <vector>

namespace {

using namespace VexaSsl;

// Returns the text in UTF-8. The text may come from a peer, so control characters and units that
// are no code point become "?"; on Windows also characters above U+FFFF, which have two units.
std::string utf8(const std::wstring& text) {
    std::string bytes;
    for (const wchar_t unit : text) {
        const auto code = static_cast<unsigned long>(unit);
        const auto tail = [&](int shift) {
            bytes += static_cast<char>(0x80 | ((code >> shift) & 0x3F));
        };
        if (code < 0x20 || code == 0x7F || (code >= 0xD800 && code < 0xE000) || code > 0x10FFFF) {
            bytes += '?'; // a line end could forge a line
        } else if (code < 0x80) {
            bytes += static_cast<char>(code);
        } else if (code < 0x800) {
            bytes += static_cast<char>(0xC0 | (code >> 6));
            tail(0);
        } else if (code < 0x10000) {
            bytes += static_cast<char>(0xE0 | (code >> 12));
            tail(6);
            tail(0);
        } else {
            bytes += static_cast<char>(0xF0 | (code >> 18));
            tail(12);
            tail(6);
            tail(0);
        }
    }
    return bytes;
}

// The time of day, UTC.
std::string timeText() {
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch());
    const hh_mm_ss time(now % hours(24));
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03dZ", static_cast<int>(time.hours().count()),
                  static_cast<int>(time.minutes().count()),
                  static_cast<int>(time.seconds().count()),
                  static_cast<int>(time.subseconds().count()));
    return text;
}

const char* word(Severity severity) {
    switch (severity) {
    case Severity::Debug:
        return "debug";
    case Severity::Info:
        return "info";
    case Severity::Warning:
        return "warning";
    case Severity::Error:
        return "error";
    case Severity::Fatal:
        return "fatal";
    }
    return "unknown";
}

// Called from noexcept socket operations, so it throws nothing.
class OwnLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override try {
        const std::lock_guard guard(mutex);
        if (severity >= Severity::Warning) {
            kept.push_back(utf8(text));
        }
        if (severity >= threshold) {
            std::cerr << timeText() << " " << word(severity) << " " << utf8(text) << "\n";
        }
    } catch (const std::exception&) { // out of memory: only the line is lost
    }

    // Every instantiateSocketStrategy calls it; a host may ignore it.
    void setMinimumSeverity(Severity severity) override {
        const std::lock_guard guard(mutex);
        threshold = severity;
    }

    std::vector<std::string> problems() const {
        const std::lock_guard guard(mutex);
        return kept;
    }

private:
    mutable std::mutex mutex;
    Severity threshold = Severity::Info;
    std::vector<std::string> kept;
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "own_log INI-FILE CONNECTION\n";
        return 1;
    }
    OwnLog log;
    try {
        const auto config =
            constructSslConfigurationFromIniFile(log, argv[1], convertNarrowToWide(argv[2]));
        const auto strategy = instantiateSocketStrategy(log, *config);
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
    }
    std::cout << "problems: " << log.problems().size() << "\n";
    return log.problems().empty() ? 0 : 1;
}
