// The ways in which a host can receive, each as one function that reads until nothing more comes.
#pragma once

#include "tampering/Scene.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// What a host has got by then.
struct Heard {
    std::string text = {};
    // Results below 1, in their order: 0 or SOCKET_ERROR, or a failing status of a completion.
    std::vector<int> ends = {};
    // Bytes of a buffer beyond the result that are not as they were.
    std::string beyond = {};
};

struct Path {
    const char* name;
    Heard (*hear)(Scene&);
    bool upgraded = false;
    bool overlapped = false;
    // A receive time-out of the socket ends its waits.
    bool endsAtTimeOut = false;
    // A spoiled record takes along what the same completion had put into earlier buffers.
    bool severalBuffers = false;
    // A failed read takes along what the same call had put into the buffer.
    bool waitsForAll = false;
};

// Each goes on behind failures as a stubborn host would, until the third end behind the farewell.
const std::vector<Path>& allPaths();

// One recv, and what it left in the buffer.
Heard receiveOnce(Scene& scene, std::size_t size, int flags = 0);
// One overlapped receive into buffers of these sizes, and its completion.
Heard completeOnce(Scene& scene, const std::vector<std::size_t>& sizes);

} // namespace VexaSsl::test
