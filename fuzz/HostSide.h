// A host that receives on a secured connection by all operations, as the input chooses, and
// compares the bytes with those that the peer sent. The bytes received and those held by the
// strategy must be a part of the source without a gap.
//
// Threads: one.
#pragma once

#include "Harness.h"
#include "Wire.h"
#include "secure/SecureSocketStrategy.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::fuzz {

class HostSide {
public:
    enum class Source {
        Sealed,  // everything that the peer encrypted: the host receives a prefix of it
        Released // everything that the package has decrypted: the host received it, or it is held
    };

    // All references must outlive the object.
    HostSide(SecureSocketStrategy& strategy, Wire& wire, const std::string& source, Source kind);

    // Runs one operation that the input chooses. Returns false at the end of the stream.
    bool step(Input& input);
    // Receives until the end of the stream or the first failure.
    void drain();

    std::size_t given() const { return consumed; }

private:
    bool receive(std::size_t length, int flags);
    bool peek(std::size_t length);
    bool select(bool withOthers);
    bool post(Input& input);
    bool completePost(Input& input);
    bool take(std::string_view bytes);
    bool failed(std::size_t most);
    bool comesNext(std::string_view bytes) const;
    bool requireHeld() const;

    struct Posted {
        std::vector<std::string> memory;
        WSAOVERLAPPED state{};
    };

    SecureSocketStrategy& strategy;
    Wire& wire;
    const std::string& source;
    const bool isReleased;
    std::size_t consumed = 0; // bytes of the source that the host has received or lost
    std::size_t slack = 0;    // further bytes that it may have lost
    // A failed overlapped operation may make the strategy forget its socket.
    bool isForgotten = false;
    std::vector<std::unique_ptr<Posted>> posts; // oldest first
};

} // namespace VexaSsl::fuzz
