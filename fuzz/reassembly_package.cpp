// A stream of ciphertext over the real package: an honest peer's records, which somebody on the way
// cuts, flips, drops, repeats, swaps and mixes with records of his own.
//
// The input: the library's role, what happens on the way, a mark, the sizes of the pieces, a mark,
// and the operations of the host.
#include "HostSide.h"
#include "MemoryPeer.h"

#include <numeric>
#include <vector>

namespace {

using namespace VexaSsl;

// A byte of the plaintext by its place: a run of it is found at one place only.
char patternAt(std::size_t place) {
    return static_cast<char>(place * 0x9E3779B1U >> 13);
}

class TamperedStream {
public:
    TamperedStream(fuzz::MemoryPeer& sender, fuzz::Input script) : peer(sender) {
        constexpr std::size_t mostRecords = 64;
        while (!script.atEnd() && records.size() < mostRecords) {
            step(script);
        }
    }

    std::string wire() const {
        return std::accumulate(records.begin(), records.end(), std::string());
    }

    std::string sealed; // the plaintext of all records, whatever became of them

private:
    void step(fuzz::Input& script) {
        switch (script.byte() % 16) {
        case 0:
        case 1:
        case 2:
        case 3:
            return seal(script.byte());
        case 4:
            return seal(script.number() % 20'000);
        case 5:
            records.push_back(peer.sealClosure());
            return;
        case 6:
            records.push_back(peer.sealRenegotiation());
            return;
        case 7:
            records.emplace_back(script.take(script.byte() % 32));
            return;
        default:
            if (!records.empty()) {
                tamper(script);
            }
        }
    }

    void seal(std::size_t size) {
        std::string plain;
        while (plain.size() < size) {
            plain += patternAt(sealed.size() + plain.size());
        }
        sealed += plain;
        records.push_back(peer.seal(plain));
    }

    void tamper(fuzz::Input& script) {
        const std::size_t kind = script.byte();
        std::string& record = records[script.byte() % records.size()];
        std::string& other = records[script.byte() % records.size()];
        switch (kind % 6) {
        case 0:
            return record.swap(other);
        case 1:
            return records.push_back(std::string(record));
        case 2:
            return record.clear();
        case 3:
            return record.resize(record.size() - std::min(record.size(), script.byte()));
        default:
            if (!record.empty()) {
                char& byte = record[script.number() % record.size()];
                byte = static_cast<char>(static_cast<std::size_t>(byte) ^ script.byte());
            }
        }
    }

    fuzz::MemoryPeer& peer;
    std::vector<std::string> records;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using fuzz::Role;
    fuzz::Input input(data, size);
    const Role role = input.byte() % 2 == 0 ? Role::Client : Role::Server;
    fuzz::LibrarySide side(role, false);
    fuzz::MemoryPeer peer(role == Role::Client ? Role::Server : Role::Client, false);
    fuzz::require(side.secureWith(peer), "an honest negotiation goes well");

    const std::size_t negotiated = side.wire->written.size();
    const std::string text = "what the host sends";
    side.wire->sendLimit = 7;
    fuzz::require(side.strategy->send(fuzz::Wire::socket, text.data(),
                                      static_cast<int>(text.size()),
                                      0) == static_cast<int>(text.size()) &&
                      peer.open(side.wire->written.substr(negotiated)) == text,
                  "what is sent in small pieces arrives");

    const TamperedStream stream(peer, fuzz::Input(input.takeTo('\xFF')));
    side.wire->pieceSizes = input.takeTo('\xFF');
    side.wire->incoming += stream.wire();
    fuzz::HostSide host(*side.strategy, *side.wire, stream.sealed, fuzz::HostSide::Source::Sealed);
    while (!input.atEnd() && host.step(input)) {
    }
    host.drain();
    return 0;
}
