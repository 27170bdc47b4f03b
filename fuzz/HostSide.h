// A host that receives on a secured connection in every way there is, as an input steers it, and
// holds what it is given against what the peer sent.
//
// The plaintext is one stream: what the host was given, then what the strategy holds. Both must be
// a run of the source without a gap. Threads: one.
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
        Sealed,  // all that the peer protected: the host gets a beginning of it
        Released // what the package has given out so far: the host gets it, or it is still held
    };

    // Everything is borrowed.
    HostSide(SecureSocketStrategy& strategy, Wire& wire, const std::string& source, Source kind);

    // One operation, chosen by the input. Result: false when the stream is over.
    bool step(Input& input);
    // Receives until the end or the first failure.
    void drain();

    std::size_t given() const { return consumed; }

private:
    bool receive(std::size_t length, int flags);
    bool peek(std::size_t length);
    bool select(bool besideOthers);
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
    std::size_t consumed = 0; // bytes of the source that the host has got or lost
    std::size_t slack = 0;    // how many more it may have lost, where the source doesn't tell
    // After a failed overlapped operation the strategy may not know its socket any more.
    bool isForgotten = false;
    std::vector<std::unique_ptr<Posted>> posts; // oldest first
};

} // namespace VexaSsl::fuzz
