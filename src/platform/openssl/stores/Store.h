// An open store, and the contexts through which its certificates leave it.
//
// What a store holds is fixed when it is opened, but for a store in memory, which grows while
// nobody else uses it. The handle keeps the store until it is closed, and each context keeps its
// store for as long as it is referenced, so contexts stay usable after the close. Any thread may
// use a store or a context that its caller keeps open.
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
    std::wstring foldedSubject;      // the subject's values, prepared for a search
    std::vector<std::string> usages; // object identifiers of the extended key usage extension
    bool hasUsages = false;          // whether there is such an extension
};

struct StoreContent {
    std::vector<StoreEntry> entries;

    explicit StoreContent(const std::vector<CertificatePointer>& certificates);

    void add(const CertificatePointer& certificate);
};
using StoreContentPointer = std::shared_ptr<const StoreContent>;

class Store {
public:
    explicit Store(StoreContentPointer held) : content(std::move(held)) {}

    const StoreContentPointer content;
    std::shared_ptr<StoreContent> growing; // the same, in a store in memory; else null
    // Contexts that were handed out and aren't released yet.
    std::atomic<std::size_t> contextsHeld{0};

    // A handle is the store's address; it keeps the store until it is closed.
    static HCERTSTORE open(StoreContentPointer content);
    static HCERTSTORE openInMemory();
    // Null for a value that is no handle.
    static std::shared_ptr<Store> of(HCERTSTORE handle) noexcept;
    // Result: whether every context was released.
    static bool close(HCERTSTORE handle) noexcept;

private:
    std::shared_ptr<Store> handleReference; // to itself while the handle is open
    std::weak_ptr<Store> self;

    friend std::shared_ptr<Store> makeStore(StoreContentPointer content);
};

// A store without a handle: it lives as long as its contexts.
std::shared_ptr<Store> makeStore(StoreContentPointer content);

// What a PCCERT_CONTEXT of this binding points to.
struct Context : CERT_CONTEXT {
    // store may be null: an element of a chain belongs to none. position: the entry in the store.
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
