#include "soak/Samples.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <malloc.h>
#include <unistd.h>

namespace VexaSsl::test {

namespace {

double heapInUse() {
    const struct mallinfo2 facts = ::mallinfo2();
    return static_cast<double>(facts.uordblks + facts.hblkhd);
}

} // namespace

Sample takeSample(pid_t process, std::size_t connections) {
    const std::filesystem::path folder = "/proc/" + std::to_string(process);
    std::size_t size = 0;
    std::size_t resident = 0;
    std::ifstream(folder / "statm") >> size >> resident;
    const double kibInPage = static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024;
    const std::filesystem::directory_iterator held(folder / "fd");
    const double heap = process == ::getpid() ? heapInUse() / 1024 : 0;
    return {static_cast<double>(connections), static_cast<double>(resident) * kibInPage,
            static_cast<double>(std::distance(begin(held), end(held))), heap};
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

void Samples::addRest(const Sample& before, const Sample& after) {
    rests = {before, after};
}

double Samples::descriptorsGrown() const {
    return rests.empty() ? thousands() * descriptorsPerThousandConnections()
                         : rests.back().descriptors - rests.front().descriptors;
}

double Samples::heapKibPerThousandConnections() const {
    return slope(&Sample::heapKib);
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
    char heap[100] = "";
    if (last.heapKib > 0) {
        std::snprintf(heap, sizeof heap, "; heap in use %.1f to %.1f MiB, slope %+.1f KiB",
                      warm.heapKib / 1024, last.heapKib / 1024, heapKibPerThousandConnections());
    }
    char rest[100] = "";
    if (!rests.empty()) {
        std::snprintf(rest, sizeof rest, "; without load %.0f descriptors before and %.0f after",
                      rests.front().descriptors, rests.back().descriptors);
    }
    return std::string(text) + heap + rest;
}

} // namespace VexaSsl::test
