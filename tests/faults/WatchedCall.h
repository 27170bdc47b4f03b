// What the functions in the place of the platform's have in common: each tells the Watch of the
// thread and goes on to the real one, unless it is to fail. watch-calls leads the core to them.
//
// Threads: any; a Watch is its thread's own.
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

// The real call, with what it gave noted down. What it calls and allocates itself is the
// platform's.
template <typename Real>
auto pass(Watch& watch, Real real) {
    const std::size_t position = watch.calls.size() - 1;
    watch.inPlatform = true;
    try {
        const auto result = real();
        watch.inPlatform = false;
        watch.leave(position, asNumber(result), false);
        return result;
    } catch (...) {
        watch.inPlatform = false;
        watch.leave(position, 0, true);
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
    watch.leave(watch.calls.size() - 1, failure.result, false);
    return asResult<decltype(real())>(failure.result);
}

// instead: what stands in for the real call where a failure has more to it than its result.
template <typename Real, typename Instead>
auto watched(Call call, Detail detail, Real real, Instead instead) -> decltype(real()) {
    Watch* const watch = Watch::ofThisThread();
    if (watch == nullptr) {
        return real();
    }
    const Failure* const failure = watch->meet(call, detail);
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

inline void hold(Held what, int change) {
    if (Watch* const watch = Watch::ofThisThread()) {
        watch->hold(what, change);
    }
}

// A result that the core has to give back, unless it is null or 0.
template <typename Result>
Result held(Held what, Result result) {
    hold(what, result ? 1 : 0);
    return result;
}

} // namespace VexaSsl::watched
