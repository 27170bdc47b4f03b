// The one owner of a foreign handle: a value and the function that gives it back. Certificate
// contexts, stores and credential handles are held by it, so no class writes moves of its own.
//
//     using CertificateHandle = OwnedHandle<PCCERT_CONTEXT, platform::CertFreeCertificateContext>;
//     using ErrorTextMemory = OwnedHandle<wchar_t*, [](wchar_t* text) { ... }>;
//
// release takes a Value or a Value&; its result is ignored and it must not throw. It is called
// exactly once for each value owned, never for an empty owner; a null pointer makes an empty owner.
//
// Threads: as safe as a plain Value; keep changes apart from everything else.
#pragma once

#include <type_traits>
#include <utility>

namespace VexaSsl {

template <typename Value, auto releaseValue>
class OwnedHandle {
public:
    OwnedHandle() noexcept = default; // owns nothing
    // Takes over value; nobody else may release it from now on.
    explicit OwnedHandle(Value taken) noexcept : value(taken), owned(isHandle(taken)) {}
    ~OwnedHandle() { reset(); }

    OwnedHandle(OwnedHandle&& other) noexcept
        : value(std::exchange(other.value, Value{})), owned(std::exchange(other.owned, false)) {}
    // Releases what it owned before. Assigning an owner to itself changes nothing.
    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        OwnedHandle incoming(std::move(other));
        std::swap(value, incoming.value);
        std::swap(owned, incoming.owned);
        return *this;
    }
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;

    explicit operator bool() const noexcept { return owned; }

    // The value, still owned here; Value{} in an empty owner.
    const Value& get() const noexcept { return value; }
    // For foreign calls that take a handle by address and may change it. It mustn't be released
    // through this.
    Value* address() noexcept { return &value; }

    // Hands the value to the caller, who releases it; the owner is empty afterwards.
    [[nodiscard]] Value take() noexcept {
        owned = false;
        return std::exchange(value, Value{});
    }

    // Releases the value now, if there is one.
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
