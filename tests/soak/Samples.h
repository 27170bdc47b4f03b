// What a process holds while a load runs: resident memory and descriptors against the connections
// served so far, and how much of it grows with them. Resident memory also holds what the allocator
// keeps for later, which hundreds of threads make more of for a long time; so of the own process it
// is told as well how much is in use.
//
// Threads: add is called by one thread at a time.
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
    double heapKib; // of the own process what has been allocated and not freed; else 0
};

// What the process holds now.
Sample takeSample(pid_t process, std::size_t connections);

class Samples {
public:
    void add(const Sample& sample) { all.push_back(sample); }
    // What was held before the load and behind it, with nothing under way.
    void addRest(const Sample& before, const Sample& after);

    // By least squares over all but the first third, in which pools and caches fill. 0 where there
    // are too few samples for a line.
    double kibPerThousandConnections() const;
    double descriptorsPerThousandConnections() const;
    // How many more descriptors are held: at rest, where that is known. A slope holds what is under
    // way at the moment, too, which changes with what else the machine does.
    double descriptorsGrown() const;
    double heapKibPerThousandConnections() const;
    bool hasRest() const { return !rests.empty(); }
    // How many thousands of connections these slopes are over.
    double thousands() const;

    // "resident 31.2 to 31.9 MiB, slope +3.1 KiB, descriptors 540 to 541, slope +0.02, ..."
    std::string text() const;

private:
    double slope(double Sample::*value) const;

    std::vector<Sample> all;
    std::vector<Sample> rests; // none, or two
};

} // namespace VexaSsl::test
