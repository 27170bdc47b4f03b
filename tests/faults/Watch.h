// The layer between the core and the real platform. A Watch sees every call that the core makes on
// the thread under test, can have one or more of them fail, can have one allocation fail, and
// counts what the core holds of the platform.
//
// Calls of other threads, and of this one while no Watch is in scope, go straight to the platform,
// and so do calls that the platform makes of itself. One Watch belongs to one thread and one run.
#pragma once

#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {

// The calls of a connection that can fail, by the platform's names.
enum class Call {
    send,
    recv,
    connect,
    accept,
    select,
    getaddrinfo,
    GetAddrInfoW,
    AcceptEx,
    WSAAccept,
    WSASend,
    WSARecv,
    WSAConnect,
    shutdown,
    GetNameInfoW,
    EnumerateSecurityPackagesW,
    AcquireCredentialsHandleW,
    InitializeSecurityContextW,
    AcceptSecurityContext,
    QueryContextAttributesW,
    EncryptMessage,
    DecryptMessage,
    CertOpenStore,
    CertCloseStore,
    CertFindCertificateInStore,
    CertCompareCertificate,
    CertGetCertificateChain,
    CertVerifyCertificateChainPolicy,
    CertGetNameStringW,
    MultiByteToWideChar,
    FormatMessageW,
    GetComputerNameExW,
    GetUserNameW,
    openTextFile,
};
constexpr std::size_t kindsOfCalls = static_cast<std::size_t>(Call::openTextFile) + 1;
std::string nameOf(Call call);

// What tells calls of one name apart, where it matters.
enum class Detail {
    none,
    first,   // the handshake's first call; the first step of a walk through the store
    further, // a later one
    byName,  // the first step of a walk for a name
    byUsage, // the first step of a walk for a usage
    sizing,  // a call that asks how large a buffer has to be
    filling, // the call that then fills the buffer
    sizes,   // the attribute that tells the sizes of records
    peer,    // the attribute that gives the peer's certificate
};

// One way in which a call may fail.
struct Failure {
    std::int64_t result = 0; // of the call; 0 is also a null pointer and FALSE
    DWORD error = 0;         // what the last-error slot then shows; 0: left as it is
    // The call is made all the same, with all that it does, and only then told to have failed.
    bool afterwards = false;
    // The verdict of a policy that could be checked.
    DWORD verdict = 0;
    LONG chainIndex = -1;
    LONG elementIndex = -1;
};

// One call that was seen.
struct SeenCall {
    Call call = Call::send;
    Detail detail = Detail::none;
    std::size_t lines = 0;   // how many lines the log had by then
    std::int64_t result = 0; // what the core was told
    DWORD error = 0;         // the last-error slot behind the call
    bool threw = false;
    bool operator==(const SeenCall&) const = default;
};

// What is to be given back.
enum class Held { credential, context, certificate, store, chain, packageMemory, text, count };
using Holdings = std::array<int, static_cast<std::size_t>(Held::count)>;

// One allocation that the thread under test made.
struct SeenAllocation {
    std::size_t lines = 0;
    std::size_t steps = 0;   // how many steps had begun
    std::size_t calls = 0;   // how many calls had been seen
    bool inPlatform = false; // inside the last of them
    int storesHeld = 0;
};

class Watch {
public:
    struct Plan {
        std::vector<std::pair<std::size_t, Failure>> failingCalls = {}; // by their position
        std::optional<std::size_t> failingAllocation = {};
        bool noMemoryFromThenOn = false; // all allocations behind it fail too
        bool keepAllocations = false;    // whether allocations are to be listed
    };

    Watch(Plan whatFails, std::function<std::size_t()> lineCount);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // As long as it lives, this thread is the one under test.
    class Scope {
    public:
        explicit Scope(Watch& watch) { current = &watch; }
        ~Scope() { current = nullptr; }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
    };
    // What the tests do themselves meanwhile: their calls aren't seen, their allocations succeed.
    class Aside {
    public:
        Aside() : kept(std::exchange(current, nullptr)) {}
        ~Aside() { current = kept; }
        Aside(const Aside&) = delete;
        Aside& operator=(const Aside&) = delete;

    private:
        Watch* kept;
    };

    // The one in scope on this thread, or null.
    static Watch* ofThisThread() { return current; }

    // Notes a call. Result: how it is to fail, or null.
    const Failure* meet(Call call, Detail detail);
    void leave(std::size_t position, std::int64_t result, bool threw);
    void hold(Held what, int change) { holdings[static_cast<std::size_t>(what)] += change; }

    // Asked by operator new. True: no memory.
    bool refusesAllocation();

    std::vector<SeenCall> calls;
    std::vector<SeenAllocation> allocations;
    std::size_t allocationCount = 0;
    std::optional<SeenAllocation> refused; // the first allocation that failed
    std::size_t steps = 0;                 // kept by whoever takes them
    Holdings holdings{};
    int breakpoints = 0;
    SOCKET accepted = INVALID_SOCKET;         // what the platform's accept gave last
    bool inPlatform = false;                  // the core waits for the last of the calls
    std::function<void()> whenHandshakeFails; // runs just before a step of the handshake fails

private:
    Plan plan;
    std::function<std::size_t()> lines;

    static thread_local Watch* current;
};

// How many blocks there are that were allocated under a Watch.
long blocksHeld();

} // namespace VexaSsl::test
