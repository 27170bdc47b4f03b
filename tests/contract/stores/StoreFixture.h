// Certificates in the machine's store for each test, and owners of the platform's handles.
#pragma once

#include "contract/support/ContractTest.h"
#include "contract/support/StoreContents.h"
#include "contract/support/ThrowawayPki.h"
#include "platform/contract/CryptoApi.h"
#include "platform/contract/WindowsBase.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {

inline constexpr char serverUsage[] = "1.3.6.1.5.5.7.3.1";
inline constexpr char clientUsage[] = "1.3.6.1.5.5.7.3.2";

// One reference to a context.
class HeldContext {
public:
    HeldContext(PCCERT_CONTEXT owned = nullptr) : context(owned) {}
    ~HeldContext() { platform::CertFreeCertificateContext(context); }
    HeldContext(HeldContext&& other) noexcept : context(std::exchange(other.context, nullptr)) {}
    HeldContext& operator=(HeldContext&& other) noexcept {
        std::swap(context, other.context);
        return *this;
    }

    PCCERT_CONTEXT get() const { return context; }
    PCCERT_CONTEXT release() { return std::exchange(context, nullptr); }
    explicit operator bool() const { return context != nullptr; }

private:
    PCCERT_CONTEXT context;
};

// Opens the store as the library does. Returns null on failure.
HCERTSTORE openPersonalStore(const wchar_t* name = L"MY");

// Opens an empty store in memory.
HCERTSTORE openMemoryStore();

class OpenedStore {
public:
    OpenedStore(); // the personal store
    explicit OpenedStore(HCERTSTORE opened) : handle(opened) {}
    ~OpenedStore() { close(); }
    OpenedStore(const OpenedStore&) = delete;
    OpenedStore& operator=(const OpenedStore&) = delete;

    HCERTSTORE get() const { return handle; }
    // Closes with the check for contexts still held. Returns TRUE if the store is closed already.
    BOOL close();

private:
    HCERTSTORE handle;
};

// The display names of the test's certificates in the store, in its order.
std::vector<std::wstring> namesIn(HCERTSTORE store);
std::vector<std::wstring> namesInPersonalStore();
std::wstring displayName(PCCERT_CONTEXT certificate);

// The first context, and the one after previous, which is released.
HeldContext firstIn(HCERTSTORE store);
HeldContext nextIn(HCERTSTORE store, PCCERT_CONTEXT previous);
// Adds an encoded certificate to a store in memory; null if it is refused.
HeldContext addTo(HCERTSTORE store, const std::string& encoding);
HeldContext findSubject(HCERTSTORE store, const wchar_t* text, PCCERT_CONTEXT previous = nullptr);
HeldContext findUsages(HCERTSTORE store, std::vector<std::string> usages,
                       PCCERT_CONTEXT previous = nullptr);
std::vector<std::wstring> namesFoundBySubject(const wchar_t* text);
std::vector<std::wstring> namesFoundByUsage(const std::string& usage);

class StoreTest : public ContractTest, protected StoreContents {};

// A context of the certificate. Its store also holds the helpers.
HeldContext contextOf(const Issued& issued, const std::vector<const Issued*>& helpers = {});

} // namespace VexaSsl::test
