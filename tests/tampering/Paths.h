// The receiving operations of a host, each as a function that reads to the end of the stream.
#pragma once

#include "tampering/TamperedConnection.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// What a host has received.
struct ReceivedData {
    std::string text = {};
    // Results below 1 in order: 0, SOCKET_ERROR, or the failing status of a completion.
    std::vector<int> ends = {};
    // Changed bytes of a buffer beyond the result.
    std::string beyond = {};
};

struct Path {
    const char* name;
    ReceivedData (*receive)(TamperedConnection&);
    bool upgraded = false;
    bool overlapped = false;
    // The socket's receive time-out applies.
    bool endsAtTimeOut = false;
    // A failure loses the bytes that the same completion put into earlier buffers.
    bool severalBuffers = false;
    // A failed read loses the bytes that the same call put into the buffer.
    bool waitsForAll = false;
};

// Each continues after failures until the third end since the counterpart's ending.
const std::vector<Path>& allPaths();

// Calls recv once.
ReceivedData receiveOnce(TamperedConnection& connection, std::size_t size, int flags = 0);
// Makes one overlapped receive into buffers of these sizes and completes it.
ReceivedData completeOnce(TamperedConnection& connection, const std::vector<std::size_t>& sizes);

} // namespace VexaSsl::test
