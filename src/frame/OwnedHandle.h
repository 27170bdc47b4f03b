// The owner of a system handle: a value and the function that releases it.
//
//     using CertificateHandle = OwnedHandle<PCCERT_CONTEXT, platform::CertFreeCertificateContext>;
//     using ErrorTextMemory = OwnedHandle<wchar_t*, [](wchar_t* text) { ... }>;
//
// releaseValue takes a Value or a Value&; its result is ignored and it must not throw. It is called
// once for each owned value. A null pointer makes an empty owner.
//
// Threads: as safe as a plain Value.
#pragma once

#include <type_traits>
#include <utility>

namespace VexaSsl {

template <typename Value, auto releaseValue>
class OwnedHandle {
public:
    OwnedHandle() noexcept = default; // owns nothing
    explicit OwnedHandle(Value value) noexcept : value(value), owned(isHandle(value)) {}
    ~OwnedHandle() { reset(); }

    OwnedHandle(OwnedHandle&& other) noexcept
        : value(std::exchange(other.value, Value{})), owned(std::exchange(other.owned, false)) {}
    // Releases the value owned before, except in self-assignment.
    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        OwnedHandle incoming(std::move(other));
        std::swap(value, incoming.value);
        std::swap(owned, incoming.owned);
        return *this;
    }
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;

    explicit operator bool() const noexcept { return owned; }

    // The value, which stays owned; Value{} if empty.
    const Value& get() const noexcept { return value; }
    // For calls that take a handle by address and may change it, but not release it.
    Value* address() noexcept { return &value; }

    // Returns the value, which the caller releases; the owner is then empty.
    [[nodiscard]] Value take() noexcept {
        owned = false;
        return std::exchange(value, Value{});
    }

    // Releases the value, if there is one.
    void reset() noexcept {
        if (!std::exchange(owned, false)) {
            return;
        }
        Value last = std::exchange(value, Value{});
        static_cast<void>(releaseValue(last));
    }

private:
    static bool isHandle(const Value& candidate) noexcept {
        if constexpr (std::is_pointer_v<Value>) {
            return candidate != nullptr;
        } else {
            return true;
        }
    }

    Value value{};
    bool owned = false;
};

} // namespace VexaSsl
