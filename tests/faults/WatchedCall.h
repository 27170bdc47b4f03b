// The common part of the functions that replace the platform's: each reports to the thread's Watch
// and calls the real function unless it must fail. watch-calls links the core to them.
//
// Thread-safe: each thread has its own Watch.
#pragma once

#include "faults/Watch.h"

#include "platform/contract/Winsock.h"

#include <cstdint>
#include <type_traits>

namespace VexaSsl::watched {

using test::Call;
using test::Detail;
using test::Failure;
using test::Held;
using test::Watch;

template <typename Result>
std::int64_t asNumber(Result result) {
    if constexpr (std::is_pointer_v<Result>) {
        return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(result));
    } else {
        return static_cast<std::int64_t>(result);
    }
}

template <typename Result>
Result asResult(std::int64_t number) {
    if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(static_cast<std::intptr_t>(number));
    } else {
        return static_cast<Result>(number);
    }
}

// Makes the real call and records its outcome. Calls and allocations inside it are the platform's.
template <typename Real>
auto pass(Watch& watch, Real real) {
    const std::size_t position = watch.calls.size() - 1;
    watch.inPlatform = true;
    try {
        const auto result = real();
        watch.inPlatform = false;
        watch.noteOutcome(position, asNumber(result), false);
        return result;
    } catch (...) {
        watch.inPlatform = false;
        watch.noteOutcome(position, 0, true);
        throw;
    }
}

template <typename Real>
auto fail(Watch& watch, const Failure& failure, Real real) -> decltype(real()) {
    if (failure.afterwards) {
        real();
    }
    if (failure.error != 0) {
        platform::WSASetLastError(static_cast<int>(failure.error));
    }
    watch.noteOutcome(watch.calls.size() - 1, failure.result, false);
    return asResult<decltype(real())>(failure.result);
}

// instead: called on failure for effects other than the result.
template <typename Real, typename Instead>
auto watched(Call call, Detail detail, Real real, Instead instead) -> decltype(real()) {
    Watch* const watch = Watch::ofThisThread();
    if (watch == nullptr) {
        return real();
    }
    const Failure* const failure = watch->noteCall(call, detail);
    if (failure == nullptr) {
        return pass(*watch, real);
    }
    instead(*failure);
    return fail(*watch, *failure, real);
}

template <typename Real>
auto watched(Call call, Detail detail, Real real) -> decltype(real()) {
    return watched(call, detail, real, [](const Failure&) {});
}

template <typename Real>
auto watched(Call call, Real real) -> decltype(real()) {
    return watched(call, Detail::none, real);
}

inline void countHeld(Held what, int change) {
    if (Watch* const watch = Watch::ofThisThread()) {
        watch->countHeld(what, change);
    }
}

// Counts a result that the core must release, unless it is null or 0.
template <typename Result>
Result held(Held what, Result result) {
    countHeld(what, result ? 1 : 0);
    return result;
}

} // namespace VexaSsl::watched
