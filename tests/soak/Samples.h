// Memory and descriptors of a process during a load, and their growth with the number of
// connections. Resident memory includes what the allocator keeps, which grows for long with
// hundreds of threads; for this process the allocated memory is recorded, too.
//
// Threads: add must not run on several threads at the same time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <sys/types.h>

namespace VexaSsl::test {

struct Sample {
    double connections;
    double residentKib;
    double descriptors;
    double heapKib; // allocated memory of this process; 0 for another one
};

// Returns the current values of the process.
Sample takeSample(pid_t process, std::size_t connections);

class Samples {
public:
    void add(const Sample& sample) { all.push_back(sample); }
    // Records the values before and after the load, without connections.
    void addRest(const Sample& before, const Sample& after);

    // Slopes by least squares without the first third, in which pools and caches fill; 0 for too
    // few samples.
    double kibPerThousandConnections() const;
    double descriptorsPerThousandConnections() const;
    // Returns the growth of descriptors, without connections if known. A slope includes connections
    // of the moment, which depend on the load of the machine.
    double descriptorsGrown() const;
    double heapKibPerThousandConnections() const;
    bool hasRest() const { return !rests.empty(); }
    // Returns the thousands of connections of the slopes.
    double thousands() const;

    // "resident 31.2 to 31.9 MiB, slope +3.1 KiB, descriptors 540 to 541, slope +0.02, ..."
    std::string text() const;

private:
    double slope(double Sample::*value) const;

    std::vector<Sample> all;
    std::vector<Sample> rests; // empty, or two
};

} // namespace VexaSsl::test
