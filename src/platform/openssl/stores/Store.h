// An open store, and the contexts of its certificates.
//
// The content of a store is fixed when it is opened, except for a store in memory, to which one
// thread may add while no other uses it. The handle owns the store until it is closed, and each
// context shares its store, so contexts stay valid after the close. Any thread may use an open
// store or a context to which it has a reference.
#pragma once

#include "platform/openssl/stores/Certificate.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {

struct StoreEntry {
    CertificatePointer certificate;
    std::wstring foldedSubject;      // subjectText, case-folded
    std::vector<std::string> usages; // object identifiers of the extended key usage extension
    bool hasUsages = false;          // the certificate has that extension
};

struct StoreContent {
    std::vector<StoreEntry> entries;

    explicit StoreContent(const std::vector<CertificatePointer>& certificates);

    void add(const CertificatePointer& certificate);
};
using StoreContentPointer = std::shared_ptr<const StoreContent>;

class Store {
public:
    explicit Store(StoreContentPointer content) : content(std::move(content)) {}

    const StoreContentPointer content;
    std::shared_ptr<StoreContent> mutableContent; // the same, for a store in memory; else null
    std::atomic<std::size_t> contextsHeld{0};     // contexts that aren't released yet

    // A handle is the store's address.
    static HCERTSTORE open(StoreContentPointer content);
    static HCERTSTORE openInMemory();
    // Returns null for a null handle and INVALID_HANDLE_VALUE.
    static std::shared_ptr<Store> of(HCERTSTORE handle) noexcept;
    // Returns whether every context has been released.
    static bool close(HCERTSTORE handle) noexcept;

private:
    std::shared_ptr<Store> handleReference; // to this store while the handle is open
    std::weak_ptr<Store> self;

    friend std::shared_ptr<Store> makeStore(StoreContentPointer content);
};

// Returns a store without a handle, which lives as long as its contexts.
std::shared_ptr<Store> makeStore(StoreContentPointer content);

// The object of a PCCERT_CONTEXT.
struct Context : CERT_CONTEXT {
    // store is null for an element of a chain. position: of the entry in the store.
    Context(CertificatePointer certificate, std::shared_ptr<Store> store, std::size_t position);
    ~Context();
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    static const Context& of(PCCERT_CONTEXT certificate) noexcept {
        return *static_cast<const Context*>(certificate);
    }

    const CertificatePointer certificate;
    const std::shared_ptr<Store> store;
    const std::size_t position;
    mutable std::atomic<std::size_t> references{1};
};

} // namespace VexaSsl::openssl
