#include "faults/Watch.h"

#include "platform/contract/WindowsBase.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace VexaSsl::test {

thread_local Watch* Watch::current = nullptr;

namespace {

constexpr std::array<const char*, kindsOfCalls> names = {"send",
                                                         "recv",
                                                         "connect",
                                                         "accept",
                                                         "select",
                                                         "getaddrinfo",
                                                         "GetAddrInfoW",
                                                         "AcceptEx",
                                                         "WSAAccept",
                                                         "WSASend",
                                                         "WSARecv",
                                                         "WSAConnect",
                                                         "shutdown",
                                                         "GetNameInfoW",
                                                         "EnumerateSecurityPackagesW",
                                                         "AcquireCredentialsHandleW",
                                                         "InitializeSecurityContextW",
                                                         "AcceptSecurityContext",
                                                         "QueryContextAttributesW",
                                                         "EncryptMessage",
                                                         "DecryptMessage",
                                                         "CertOpenStore",
                                                         "CertCloseStore",
                                                         "CertFindCertificateInStore",
                                                         "CertCompareCertificate",
                                                         "CertGetCertificateChain",
                                                         "CertVerifyCertificateChainPolicy",
                                                         "CertGetNameStringW",
                                                         "MultiByteToWideChar",
                                                         "FormatMessageW",
                                                         "GetComputerNameExW",
                                                         "GetUserNameW",
                                                         "openTextFile"};

std::atomic<long> blocks{0};

// Precedes each block and keeps its alignment.
struct alignas(std::max_align_t) BlockHead {
    bool isWatched;
};

void* allocate(std::size_t size) noexcept {
    Watch* const watch = Watch::ofThisThread();
    if (watch != nullptr && watch->failsAllocation()) {
        return nullptr;
    }
    auto* const head = static_cast<BlockHead*>(std::malloc(sizeof(BlockHead) + size));
    if (head == nullptr) {
        return nullptr;
    }
    head->isWatched = watch != nullptr;
    blocks += watch != nullptr ? 1 : 0;
    return head + 1;
}

void* allocateOrThrow(std::size_t size) {
    void* const block = allocate(size);
    return block != nullptr ? block : throw std::bad_alloc();
}

void release(void* block) noexcept {
    if (block != nullptr) {
        BlockHead* const head = static_cast<BlockHead*>(block) - 1;
        blocks -= head->isWatched ? 1 : 0;
        std::free(head);
    }
}

} // namespace

std::string nameOf(Call call) {
    return names[static_cast<std::size_t>(call)];
}

long blocksHeld() {
    return blocks;
}

Watch::Watch(Plan plan, std::function<std::size_t()> lineCount)
    : plan(std::move(plan)), lineCount(std::move(lineCount)) {}

const Failure* Watch::noteCall(Call call, Detail detail) {
    const Aside aside;
    const auto planned = std::ranges::find(plan.failingCalls, calls.size(),
                                           [](const auto& entry) { return entry.first; });
    calls.push_back({.call = call, .detail = detail, .lines = lineCount()});
    if (planned == plan.failingCalls.end()) {
        return nullptr;
    }
    if (call == Call::InitializeSecurityContextW || call == Call::AcceptSecurityContext) {
        whenHandshakeFails();
    }
    return &planned->second;
}

void Watch::noteOutcome(std::size_t position, std::int64_t result, bool threw) {
    const DWORD error = platform::GetLastError();
    SeenCall& seen = calls[position];
    seen.result = result;
    seen.error = error;
    seen.threw = threw;
}

bool Watch::failsAllocation() {
    const Aside aside;
    const SeenAllocation seen{.lines = lineCount(),
                              .steps = steps,
                              .calls = calls.size(),
                              .inPlatform = inPlatform,
                              .storesHeld = holdings[static_cast<std::size_t>(Held::store)]};
    const std::size_t position = allocationCount++;
    if (plan.keepAllocations) {
        allocations.push_back(seen);
    }
    if (!plan.failingAllocation || position < *plan.failingAllocation) {
        return false;
    }
    if (position != *plan.failingAllocation && !plan.allLaterFail) {
        return false;
    }
    failedAllocation = failedAllocation.value_or(seen);
    return true;
}

} // namespace VexaSsl::test

// Every allocation of the program and its libraries comes here.
void* operator new(std::size_t size) {
    return VexaSsl::test::allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return VexaSsl::test::allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return VexaSsl::test::allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return VexaSsl::test::allocate(size);
}
void operator delete(void* block) noexcept {
    VexaSsl::test::release(block);
}
void operator delete[](void* block) noexcept {
    VexaSsl::test::release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    VexaSsl::test::release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
    VexaSsl::test::release(block);
}
