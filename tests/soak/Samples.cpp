#include "soak/Samples.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

namespace VexaSsl::test {

Sample takeSample(pid_t process, std::size_t connections) {
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    std::size_t size = 0;
    std::size_t resident = 0;
    std::ifstream(folder / "statm") >> size >> resident;
    const double kibInPage = static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024;
    const std::filesystem::directory_iterator held(folder / "fd");
    return {static_cast<double>(connections), static_cast<double>(resident) * kibInPage,
            static_cast<double>(std::distance(begin(held), end(held)))};
}

double Samples::slope(double Sample::*value) const {
    constexpr std::size_t fewest = 5;
    const std::size_t first = all.size() / 3;
    const auto count = static_cast<double>(all.size() - first);
    if (all.size() - first < fewest) {
        return 0;
    }
    double meanX = 0;
    double meanY = 0;
    for (std::size_t i = first; i < all.size(); ++i) {
        meanX += all[i].connections / count;
        meanY += all[i].*value / count;
    }
    double covariance = 0;
    double variance = 0;
    for (std::size_t i = first; i < all.size(); ++i) {
        const double x = all[i].connections - meanX;
        covariance += x * (all[i].*value - meanY);
        variance += x * x;
    }
    return variance > 0 ? 1000 * covariance / variance : 0;
}

double Samples::thousands() const {
    return all.empty() ? 0 : (all.back().connections - all[all.size() / 3].connections) / 1000;
}

double Samples::kibPerThousandConnections() const {
    return slope(&Sample::residentKib);
}

double Samples::descriptorsPerThousandConnections() const {
    return slope(&Sample::descriptors);
}

std::string Samples::text() const {
    if (all.empty()) {
        return "nothing sampled";
    }
    const Sample& warm = all[all.size() / 3];
    const Sample& last = all.back();
    char text[256];
    std::snprintf(text, sizeof text,
                  "resident %.1f to %.1f MiB, slope %+.1f KiB per 1,000 connections; descriptors "
                  "%.0f to %.0f, slope %+.2f",
                  warm.residentKib / 1024, last.residentKib / 1024, kibPerThousandConnections(),
                  warm.descriptors, last.descriptors, descriptorsPerThousandConnections());
    return text;
}

} // namespace VexaSsl::test
