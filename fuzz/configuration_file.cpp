// The parser of ini files and stores.
#include "Harness.h"
#include "config/ConfigFileParser.h"

#include <utility>

namespace {

using namespace VexaSsl;

using Sections =
    std::unordered_map<std::wstring, OptionMap, CaseInsensitiveHash, CaseInsensitiveEqual>;

// Collects the sections from the events of the parser.
class ParsedLines : public IConfigurationObserver {
public:
    void readingFile(const std::filesystem::path&) override {}
    void valueRequested(const std::wstring&, const std::wstring&, const std::wstring&) override {}

    void readLine(const ReadLine& line) override {
        ++lines;
        units += line.text.size();
        longest = std::max(longest, line.text.size());
        if (line.meaning == LineMeaning::Header) {
            sections[std::wstring(line.section)].clear();
        } else if (line.meaning == LineMeaning::KeyAndValue) {
            fuzz::require(!line.key.empty() && !line.value.empty(), "key and value are not empty");
            sections[std::wstring(line.section)][std::wstring(line.key)] = line.value;
        } else if (line.meaning == LineMeaning::TooLong) {
            fuzz::require(line.text.size() > 20'000, "only long lines are reported as too long");
        }
    }

    Sections sections;
    std::size_t lines = 0;
    std::size_t units = 0;
    std::size_t longest = 0;
};

void append(std::string& text, std::wstring_view units) {
    for (const wchar_t unit : units) {
        fuzz::require(unit <= 0xFF, "units of a file are bytes");
        text += static_cast<char>(static_cast<unsigned char>(unit));
    }
}

// Returns an equivalent file. The section without a name is first, since it has no header.
std::string written(const Sections& sections) {
    std::string text;
    for (const bool named : {false, true}) {
        for (const auto& [name, options] : sections) {
            if (name.empty() == named) {
                continue;
            }
            if (named) {
                append(text, L"[" + name + L"]\n");
            }
            for (const auto& [key, value] : options) {
                append(text, key + L"=" + value + L"\n");
            }
        }
    }
    return text;
}

void requireAnswers(const ConfigFileParser& parser, const Sections& sections) {
    for (const auto& [name, options] : sections) {
        for (const auto& [key, value] : options) {
            fuzz::require(parser.getValue(name, key) == value, "the last value of a key counts");
        }
        fuzz::require(parser.getValue(name, L"").empty(), "there is no empty key");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile file;
    const std::string_view content = fuzz::Input(data, size).rest();
    fuzz::StrictLog log(size + 1); // at most one log line for each line of the file
    ParsedLines parsed;
    file.write(content);
    const ConfigFileParser parser(log, file.path(), &parsed);
    fuzz::require(parsed.units <= size && parsed.lines <= size, "each line is reported once");
    fuzz::require(log.warnings.empty() && log.errors.empty(), "parsing logs at Debug only");
    requireAnswers(parser, parsed.sections);

    // The settings, written to a file and parsed again, are the same.
    const std::string again = written(parsed.sections);
    fuzz::require(again.size() <= 2 * size + 1, "the written file is bounded");
    file.write(again);
    ParsedLines parsedAgain;
    const ConfigFileParser second(log, file.path(), &parsedAgain);
    requireAnswers(second, parsed.sections);
    fuzz::require(written(parsedAgain.sections).size() == again.size(),
                  "nothing is added when it is parsed again");
    return 0;
}
