// A file of sections and keys, read by the parser that both the ini file and the store go through.
#include "Harness.h"
#include "config/ConfigFileParser.h"

#include <utility>

namespace {

using namespace VexaSsl;

using Sections =
    std::unordered_map<std::wstring, OptionMap, CaseInsensitiveHash, CaseInsensitiveEqual>;

// Builds the sections anew from what the parser tells of each line.
class Told : public IConfigurationObserver {
public:
    void readingFile(const std::filesystem::path&) override {}
    void askedFor(const std::wstring&, const std::wstring&, const std::wstring&) override {}

    void readLine(const ReadLine& line) override {
        ++lines;
        units += line.text.size();
        longest = std::max(longest, line.text.size());
        if (line.meaning == LineMeaning::Header) {
            sections[std::wstring(line.section)].clear();
        } else if (line.meaning == LineMeaning::KeyAndValue) {
            fuzz::require(!line.key.empty() && !line.value.empty(), "key and value have units");
            sections[std::wstring(line.section)][std::wstring(line.key)] = line.value;
        } else if (line.meaning == LineMeaning::TooLong) {
            fuzz::require(line.text.size() > 20'000, "only long lines are too long");
        }
    }

    Sections sections;
    std::size_t lines = 0;
    std::size_t units = 0;
    std::size_t longest = 0;
};

void append(std::string& text, std::wstring_view units) {
    for (const wchar_t unit : units) {
        fuzz::require(unit <= 0xFF, "a file's units are bytes");
        text += static_cast<char>(static_cast<unsigned char>(unit));
    }
}

// A file that says the same. The section without a name comes first: no header opens it.
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
        fuzz::require(parser.getValue(name, L"").empty(), "there is no key without a name");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile file;
    const std::string_view content = fuzz::Input(data, size).rest();
    fuzz::StrictLog log(size + 1); // a line of the log for a line of the file, never more
    Told told;
    file.write(content);
    const ConfigFileParser parser(log, file.path(), &told);
    fuzz::require(told.units <= size && told.lines <= size, "each line is told once");
    fuzz::require(log.warnings.empty() && log.errors.empty(), "a line is never worse than Debug");
    requireAnswers(parser, told.sections);

    // What was understood, written down and read again, is understood in the same way.
    const std::string again = written(told.sections);
    fuzz::require(again.size() <= 2 * size + 1, "nothing grows");
    file.write(again);
    Told toldAgain;
    const ConfigFileParser second(log, file.path(), &toldAgain);
    requireAnswers(second, told.sections);
    fuzz::require(written(toldAgain.sections).size() == again.size(), "nothing is added");
    return 0;
}
