// The results as JSON: a list of cells, each with the figures of every round by contender.
// bench/report computes medians and ratios.
#pragma once

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace VexaSsl::bench {

class Results {
public:
    // Throws std::runtime_error when the file can't be written.
    explicit Results(const std::filesystem::path& file);

    void add(const std::string& contender, double value, double megabytesPerSecond);
    // Writes the cell with the figures added since the previous one.
    void endCell(const std::string& name, const std::string& unit, bool moreIsBetter);
    // Throws std::runtime_error when a write has failed.
    void finish();

private:
    struct Rounds {
        std::vector<double> values;
        std::vector<double> speeds;
    };

    std::ofstream stream;
    bool first = true;
    std::map<std::string, Rounds> current;
};

} // namespace VexaSsl::bench
