// An open store, and the contexts of its certificates.
//
// The content of a store is fixed when it is opened, except for a store in memory, to which one
// thread may add while no other uses it. The table of handles owns the store until it is closed,
// and each context shares its store, so contexts stay valid after the close. Any thread may use an
// open store or a context to which it has a reference.
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

struct Store {
    explicit Store(StoreContentPointer content) : content(std::move(content)) {}

    const StoreContentPointer content;
    std::shared_ptr<StoreContent> mutableContent; // the same, for a store in memory; else null
    std::atomic<std::size_t> contextsHeld{0};     // contexts that aren't released yet
    HCERTSTORE handle = nullptr;                  // null before the store is opened
    bool closesWithLastContext = false;

    // Returns the handle.
    static HCERTSTORE open(const std::shared_ptr<Store>& store);
    static HCERTSTORE open(StoreContentPointer content);
    static HCERTSTORE openInMemory();
    // Returns null for a handle that isn't open.
    static std::shared_ptr<Store> of(HCERTSTORE handle);
    // Makes the handle invalid and returns its store; null as above.
    static std::shared_ptr<Store> close(HCERTSTORE handle);
};

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
