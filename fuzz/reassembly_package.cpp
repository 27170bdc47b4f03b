// Ciphertext through the real package: a peer's records, which an attacker on the network cuts,
// changes, drops, repeats, swaps and mixes with other records. The peer is honest, or knows the
// keys and encrypts anything.
//
// The input: a byte with the library's role, the cipher suite and the kind of peer; the attacks; a
// mark; the sizes of the pieces; a mark; and the operations of the host.
#include "HostSide.h"
#include "MemoryPeer.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <vector>

namespace {

using namespace VexaSsl;

// Returns the byte of the plaintext at a position. Every sequence occurs at one position only.
char patternAt(std::size_t place) {
    return static_cast<char>(place * 0x9E3779B1U >> 13);
}

class TamperedStream {
public:
    TamperedStream(fuzz::MemoryPeer& sender, bool honest, fuzz::Input script)
        : peer(sender), isHonest(honest) {
        constexpr std::size_t mostRecords = 64;
        while (!script.atEnd() && records.size() < mostRecords) {
            step(script);
        }
    }

    std::string wire() const {
        return std::accumulate(records.begin(), records.end(), std::string());
    }

    std::string sealed;  // the plaintext of all records, also of lost ones
    bool isWhole = true; // only data was sent, and all of it arrives

private:
    void step(fuzz::Input& script) {
        const std::size_t action = script.byte() % 16;
        isWhole = isWhole && action <= 4;
        switch (action) {
        case 0:
        case 1:
        case 2:
        case 3:
            return seal(script.byte());
        case 4:
            return seal(script.number() % 20'000);
        case 5:
            records.push_back(isHonest ? peer.sealClosure()
                                       : peer.sealAs(alert, script.take(script.byte() % 4)));
            return;
        case 6:
            if (isHonest) {
                records.push_back(peer.sealRenegotiation());
            } else {
                const std::size_t type =
                    script.byte() % 2 == 0 ? 20 + script.byte() % 5 : script.byte();
                sealAnything(type, script.take(script.byte()));
            }
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
        // OpenSSL limits the number of consecutive empty records.
        size = isHonest ? size : std::clamp(size, std::size_t{1}, fuzz::MemoryPeer::largestContent);
        std::string plain;
        while (plain.size() < size) {
            plain += patternAt(sealed.size() + plain.size());
        }
        sealed += plain;
        records.push_back(isHonest ? peer.seal(plain) : peer.sealAs(applicationData, plain));
    }

    void sealAnything(std::size_t type, std::string_view content) {
        sealed += type == applicationData ? content : "";
        records.push_back(peer.sealAs(type, content));
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

    static constexpr std::size_t alert = 21;
    static constexpr std::size_t applicationData = 23;

    fuzz::MemoryPeer& peer;
    const bool isHonest;
    std::vector<std::string> records;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using fuzz::Role;
    fuzz::Input input(data, size);
    const std::size_t choice = input.byte();
    const Role role = choice % 2 == 0 ? Role::Client : Role::Server;
    const bool isHonest = choice / 2 % 2 == 0;
    constexpr const char* cipherSuites[] = {"ECDHE-ECDSA-AES128-GCM-SHA256",
                                            "ECDHE-ECDSA-AES256-GCM-SHA384",
                                            "ECDHE-ECDSA-CHACHA20-POLY1305"};
    fuzz::LibrarySide side(role, false);
    fuzz::MemoryPeer peer(role == Role::Client ? Role::Server : Role::Client, false,
                          cipherSuites[choice / 4 % std::size(cipherSuites)]);
    fuzz::require(side.secureWith(peer), "a handshake with an honest peer succeeds");

    const std::size_t negotiated = side.wire->written.size();
    const std::string text = "sent by the host";
    side.wire->sendLimit = 7;
    fuzz::require(side.strategy->send(fuzz::Wire::socket, text.data(),
                                      static_cast<int>(text.size()),
                                      0) == static_cast<int>(text.size()) &&
                      peer.open(side.wire->written.substr(negotiated)) == text,
                  "data sent in small pieces arrives");

    const TamperedStream stream(peer, isHonest, fuzz::Input(input.takeTo('\xFF')));
    side.wire->pieceSizes = input.takeTo('\xFF');
    side.wire->incoming += stream.wire();
    fuzz::HostSide host(*side.strategy, *side.wire, stream.sealed, fuzz::HostSide::Source::Sealed);
    while (!input.atEnd() && host.step(input)) {
    }
    host.drain();
    fuzz::require(!stream.isWhole || host.given() == stream.sealed.size(),
                  "an unchanged stream arrives completely");
    return 0;
}
