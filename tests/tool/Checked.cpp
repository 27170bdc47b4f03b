#include "tool/Checked.h"

#include <fstream>
#include <sstream>

namespace VexaSsl::test {

std::filesystem::path fileHolding(const std::string& bytes, const std::string& extension) {
    const auto path = freshFile(extension);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

Configured::Configured(const std::string& bytes)
    : store(fileHolding(bytes, ".store")),
      ini(fileHolding("[VexaSsl]\nConfigurationStore=" + store.string() + "\n")) {}

Outcome checked(const std::filesystem::path& ini, const Words& more) {
    return runTool(Words{"check", "--ini", ini.string(), "--connection", "Tested", "--certificates",
                         pki::folder().string()} +
                   more);
}

std::vector<std::string> findings(const Outcome& outcome, const std::string& identifier) {
    std::vector<std::string> found;
    std::istringstream lines(outcome.errors);
    const std::string end = " [" + identifier + "]";
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with(end)) {
            found.push_back(line.substr(0, line.size() - end.size()));
        }
    }
    return found;
}

std::string firstFinding(const Outcome& outcome, const std::string& identifier) {
    const std::vector<std::string> found = findings(outcome, identifier);
    return found.empty() ? "" : found.front();
}

std::vector<int> linesWith(const Outcome& outcome, const std::string& identifier,
                           const std::filesystem::path& file) {
    std::vector<int> numbers;
    const std::string start = file.string() + ":";
    for (const std::string& finding : findings(outcome, identifier)) {
        if (finding.starts_with(start)) {
            numbers.push_back(std::stoi(finding.substr(start.size())));
        }
    }
    return numbers;
}

} // namespace VexaSsl::test
