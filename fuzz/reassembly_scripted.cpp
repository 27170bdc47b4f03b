// Reassembly by the receiving operations over the toy package of the unit tests: records of all
// kinds, complete and cut, in pieces of any size.
//
// The input: the stream, a mark, the sizes of the pieces, a mark, and the operations of the host.
#include "HostSide.h"
#include "config/SslConfig.h"
#include "fakes/GoodHandshake.h"
#include "fakes/SecureConnection.h"
#include "fakes/ToyCipher.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <set>

namespace {

using namespace VexaSsl;
using test::ToyCipher;

// Returns the byte of the plaintext at a position. Every sequence occurs at one position only.
char patternAt(std::size_t place) {
    return static_cast<char>(place * 0x9E3779B1U >> 13);
}

class ToyConnection {
public:
    explicit ToyConnection(fuzz::Input& input) {
        testing::GTEST_FLAG(break_on_failure) =
            true; // a failed expectation of the fakes is a finding
        prepare();
        auto below = std::make_unique<fuzz::Wire>(log);
        wire = below.get();
        strategy = std::make_unique<SecureSocketStrategy>(log, handshake.config, std::move(below));
        addrinfo* none = nullptr;
        strategy->getaddrinfo("peer.test", nullptr, nullptr, &none);
        fuzz::require(strategy->connect(fuzz::Wire::socket, nullptr, 0) == 0, "connect succeeds");
        fuzz::Input script(input.takeTo('\xFF'));
        while (!script.atEnd() && wire->incoming.size() < 30'000) {
            addToWire(script);
        }
        wire->pieceSizes = input.takeTo('\xFF');
    }

    void run(fuzz::Input& input) {
        fuzz::HostSide host(*strategy, *wire, released, fuzz::HostSide::Source::Released);
        while (!input.atEnd() && host.step(input)) {
        }
        host.drain();
        fuzz::require(!isWhole || host.given() == place, "an unchanged stream arrives completely");
    }

private:
    void prepare() {
        test::ScriptedPlatform& platform = handshake.platform;
        cipher.install(platform);
        test::installSecurityPackage(platform);
        platform.shutdown = [](SOCKET, int) { return 0; };
        platform.DebugBreak = [] {};
        platform.__WSAFDIsSet = [](SOCKET s, VexaSsl::fd_set* set) {
            const SOCKET* end = set->fd_array + set->fd_count;
            return std::find<const SOCKET*>(set->fd_array, end, s) != end ? 1 : 0;
        };
        platform.DecryptMessage =
            [this, opening = platform.DecryptMessage](CtxtHandle* context, SecBufferDesc* message,
                                                      ULONG sequence, ULONG* quality) {
                return decrypt(opening, context, message, sequence, quality);
            };
    }

    // Like a real package, opens only sealed records, and each once.
    template <typename Opening>
    SECURITY_STATUS decrypt(const Opening& opening, CtxtHandle* context, SecBufferDesc* message,
                            ULONG sequence, ULONG* quality) {
        const SecBuffer& offered = message->pBuffers[0];
        const std::string_view bytes(static_cast<char*>(offered.pvBuffer), offered.cbBuffer);
        const std::size_t size = recordSize(bytes);
        if (size != 0 && bytes.size() >= size) {
            const auto record = sealed.find(std::string(bytes.substr(0, size)));
            if (record == sealed.end()) {
                return SEC_E_MESSAGE_ALTERED;
            }
            sealed.erase(record);
        }
        const SECURITY_STATUS status = opening(context, message, sequence, quality);
        if (status == SEC_E_OK) {
            const SecBuffer& data = message->pBuffers[1];
            released.append(static_cast<char*>(data.pvBuffer), data.cbBuffer);
        }
        return status;
    }

    static std::size_t recordSize(std::string_view bytes) {
        if (bytes.size() < ToyCipher::headerSize) {
            return 0;
        }
        const auto at = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
        return ToyCipher::headerSize + (static_cast<std::size_t>(at(2)) << 8 | at(3)) + at(1);
    }

    void addToWire(fuzz::Input& script) {
        using Kind = ToyCipher::Kind;
        constexpr Kind kinds[] = {Kind::Closure, Kind::Renegotiation, Kind::Garbage,
                                  Kind::Altered, Kind::Exhausting,    Kind::Failing,
                                  Kind::Odd};
        const std::size_t action = script.byte();
        isWhole = isWhole && (action < 0xA0 || action >= 0xE0);
        cipher.usedTrailer = static_cast<DWORD>(action & 7);
        if (action < 0x80) {
            seal(Kind::Data, script.byte());
        } else if (action < 0xA0) {
            seal(Kind::Data, script.number() % 3000);
        } else if (action < 0xC0) {
            seal(kinds[script.byte() % std::size(kinds)], action % 5);
        } else if (action < 0xD0) {
            wire->incoming += script.take(action % 16);
        } else if (action < 0xE0) {
            wire->incoming.resize(wire->incoming.size() -
                                  std::min(wire->incoming.size(), action % 16));
        } else {
            cipher.reportsMissing = action % 2 != 0;
        }
    }

    void seal(ToyCipher::Kind kind, std::size_t size) {
        std::string plain;
        while (plain.size() < size) {
            plain += patternAt(place++);
        }
        const std::string record = cipher.seal(plain, kind);
        sealed.insert(record);
        wire->incoming += record;
    }

    fuzz::StrictLog log;
    test::GoodHandshake handshake;
    ToyCipher cipher;
    std::multiset<std::string> sealed; // not opened yet
    std::string released;
    std::size_t place = 0; // bytes of plaintext so far
    bool isWhole = true;   // only data was sent, and all of it arrives
    std::unique_ptr<SecureSocketStrategy> strategy;
    fuzz::Wire* wire = nullptr; // owned by strategy
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    ToyConnection(input).run(input);
    return 0;
}
