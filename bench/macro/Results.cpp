#include "Results.h"

#include <stdexcept>

namespace VexaSsl::bench {

namespace {

void writeList(std::ostream& stream, const std::vector<double>& values) {
    const char* separator = "";
    stream << "[";
    for (const double value : values) {
        stream << separator << value;
        separator = ", ";
    }
    stream << "]";
}

} // namespace

Results::Results(const std::filesystem::path& file) : stream(file) {
    stream << "[";
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

void Results::add(const std::string& contender, double value, double megabytesPerSecond) {
    Rounds& rounds = current[contender];
    rounds.values.push_back(value);
    if (megabytesPerSecond > 0) {
        rounds.speeds.push_back(megabytesPerSecond);
    }
}

void Results::endCell(const std::string& name, const std::string& unit, bool moreIsBetter) {
    stream << (first ? "\n" : ",\n") << R"({"cell": ")" << name << R"(", "unit": ")" << unit
           << R"(", "moreIsBetter": )" << (moreIsBetter ? "true" : "false") << R"(, "rounds": {)";
    first = false;
    const char* separator = "";
    for (const auto& [contender, rounds] : current) {
        stream << separator << "\n  \"" << contender << R"(": {"values": )";
        writeList(stream, rounds.values);
        stream << R"(, "MB/s": )";
        writeList(stream, rounds.speeds);
        stream << "}";
        separator = ",";
    }
    stream << "}}" << std::flush;
    current.clear();
}

void Results::finish() {
    stream << "\n]\n" << std::flush;
    if (!stream) {
        throw std::runtime_error("cannot write the results");
    }
}

} // namespace VexaSsl::bench
