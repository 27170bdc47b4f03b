// The layer between the core and the real platform. A Watch sees every call that the core makes on
// the thread under test, can make calls and an allocation fail, and counts the platform's objects
// that the core holds.
//
// Calls by other threads, by this thread without a Watch in scope, and by the platform itself go
// directly to the platform. A Watch belongs to one thread and one run.
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

// Distinguishes calls of one function where it matters.
enum class Detail {
    none,
    first,   // the first call of a handshake or of an enumeration
    further, // a later call
    byName,  // the first call of a search by name
    byUsage, // the first call of a search by usage
    sizing,  // a call that queries the size of a buffer
    filling, // the call that fills the buffer
    sizes,   // the stream sizes attribute
    peer,    // the peer's certificate attribute
};

// One way in which a call may fail.
struct Failure {
    std::int64_t result = 0; // of the call; 0 is also a null pointer and FALSE
    DWORD error = 0;         // the last error; 0: not set
    // The real call is made before the failure is returned.
    bool afterwards = false;
    // The status of a policy that was checked.
    DWORD verdict = 0;
    LONG chainIndex = -1;
    LONG elementIndex = -1;
};

// One recorded call.
struct SeenCall {
    Call call = Call::send;
    Detail detail = Detail::none;
    std::size_t lines = 0;   // log lines before the call
    std::int64_t result = 0; // as the core saw it
    DWORD error = 0;         // the last error after the call
    bool threw = false;
    bool operator==(const SeenCall&) const = default;
};

// The objects that the core must release.
enum class Held { credential, context, certificate, store, chain, packageMemory, text, count };
using Holdings = std::array<int, static_cast<std::size_t>(Held::count)>;

// One allocation by the thread under test.
struct SeenAllocation {
    std::size_t lines = 0;
    std::size_t steps = 0;   // steps begun before
    std::size_t calls = 0;   // calls recorded before
    bool inPlatform = false; // inside the last of these calls
    int storesHeld = 0;
};

class Watch {
public:
    struct Plan {
        std::vector<std::pair<std::size_t, Failure>> failingCalls = {}; // by position
        std::optional<std::size_t> failingAllocation = {};
        bool allLaterFail = false;    // all allocations after it fail too
        bool keepAllocations = false; // whether allocations are listed
    };

    Watch(Plan plan, std::function<std::size_t()> lineCount);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    // Makes this thread the one under test while it lives.
    class Scope {
    public:
        explicit Scope(Watch& watch) { current = &watch; }
        ~Scope() { current = nullptr; }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
    };
    // Suspends the watch while it lives, for what the tests do themselves.
    class Aside {
    public:
        Aside() : kept(std::exchange(current, nullptr)) {}
        ~Aside() { current = kept; }
        Aside(const Aside&) = delete;
        Aside& operator=(const Aside&) = delete;

    private:
        Watch* kept;
    };

    // The watch in scope on this thread, or null.
    static Watch* ofThisThread() { return current; }

    // Records a call. Returns how it must fail, or null.
    const Failure* noteCall(Call call, Detail detail);
    void noteOutcome(std::size_t position, std::int64_t result, bool threw);
    void countHeld(Held what, int change) { holdings[static_cast<std::size_t>(what)] += change; }

    // Called by operator new. Returns whether the allocation must fail.
    bool failsAllocation();

    std::vector<SeenCall> calls;
    std::vector<SeenAllocation> allocations;
    std::size_t allocationCount = 0;
    std::optional<SeenAllocation> failedAllocation; // the first allocation that failed
    std::size_t steps = 0;                          // counted by the end under test
    Holdings holdings{};
    int breakpoints = 0;
    SOCKET accepted = INVALID_SOCKET;         // the platform's last accepted socket
    bool inPlatform = false;                  // whether the last call is still running
    std::function<void()> whenHandshakeFails; // called before a handshake call fails

private:
    Plan plan;
    std::function<std::size_t()> lineCount;

    static thread_local Watch* current;
};

// The number of unreleased blocks that were allocated under a Watch.
long blocksHeld();

} // namespace VexaSsl::test
