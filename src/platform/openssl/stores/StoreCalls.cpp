// Opening, searching and closing stores; reference counting of contexts.
#include "platform/contract/CryptoApi.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/openssl/stores/OpenSslStart.h"
#include "platform/openssl/stores/PersonalStore.h"
#include "platform/openssl/stores/Store.h"
#include "platform/openssl/stores/SubjectText.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

DWORD errorOf(FileOutcome outcome) noexcept {
    switch (outcome) {
    case FileOutcome::read:
    case FileOutcome::missing:
        return 0;
    case FileOutcome::temporary:
        return linux::errorTooManyOpenFiles;
    case FileOutcome::denied:
    case FileOutcome::unusable:
        break;
    }
    return ERROR_ACCESS_DENIED;
}

HCERTSTORE openPersonalStore() {
    PersonalStore personal = readPersonalStore();
    if (const DWORD error = errorOf(personal.outcome)) {
        return linux::failWith(error, HCERTSTORE{});
    }
    return Store::open(std::move(personal.content));
}

// The context with which a search continues, released when the search has returned.
class PreviousContext {
public:
    explicit PreviousContext(PCCERT_CONTEXT context) noexcept : context(context) {}
    ~PreviousContext() { platform::CertFreeCertificateContext(context); }
    PreviousContext(const PreviousContext&) = delete;
    PreviousContext& operator=(const PreviousContext&) = delete;

    // The position at which the search continues.
    std::size_t nextPosition() const noexcept {
        return context ? Context::of(context).position + 1 : 0;
    }
    bool isForeignTo(const Store& store) const noexcept {
        return context && Context::of(context).store.get() != &store;
    }

private:
    const PCCERT_CONTEXT context;
};

// Returns the first matching entry after previous; null at the end (CRYPT_E_NOT_FOUND), and for an
// invalid handle or a previous certificate of another store (E_INVALIDARG).
template <class Match>
PCCERT_CONTEXT findNext(HCERTSTORE handle, const PreviousContext& previous, Match matches) {
    const std::shared_ptr<Store> store = Store::of(handle);
    if (!store || previous.isForeignTo(*store)) {
        return linux::failWith(linux::invalidArgument, PCCERT_CONTEXT{});
    }
    const std::vector<StoreEntry>& entries = store->content->entries;
    for (std::size_t i = previous.nextPosition(); i < entries.size(); ++i) {
        if (matches(entries[i])) {
            return new Context(entries[i].certificate, store, i);
        }
    }
    return linux::failWith(CRYPT_E_NOT_FOUND, PCCERT_CONTEXT{});
}

PCCERT_CONTEXT findBySubject(HCERTSTORE store, const wchar_t* text,
                             const PreviousContext& previous) {
    const std::wstring wanted = foldCase(text ? text : L"");
    return findNext(store, previous, [&wanted](const StoreEntry& entry) {
        return !wanted.empty() && entry.foldedSubject.find(wanted) != std::wstring::npos;
    });
}

bool hasAllUsages(const StoreEntry& entry, const CERT_ENHKEY_USAGE& usage) {
    if (!entry.hasUsages) {
        return false;
    }
    return std::all_of(usage.rgpszUsageIdentifier,
                       usage.rgpszUsageIdentifier + usage.cUsageIdentifier,
                       [&entry](const char* required) {
                           return std::find(entry.usages.begin(), entry.usages.end(), required) !=
                                  entry.usages.end();
                       });
}

PCCERT_CONTEXT findByUsage(HCERTSTORE store, const CERT_ENHKEY_USAGE* usage,
                           const PreviousContext& previous) {
    return findNext(store, previous, [usage](const StoreEntry& entry) {
        return usage ? hasAllUsages(entry, *usage) : entry.hasUsages;
    });
}

// Returns the certificate; null unless encoded is exactly one certificate.
CertificatePointer decodeSingle(const BYTE* encoded, DWORD size) {
    startOpenSsl();
    const ErrorQueueGuard errors;
    const unsigned char* end = encoded;
    X509Pointer certificate(encoded ? d2i_X509(nullptr, &end, static_cast<long>(size)) : nullptr);
    if (!certificate || end != encoded + size) {
        return nullptr;
    }
    return std::make_shared<const Certificate>(std::move(certificate), KeyAndChain{});
}

bool areEqual(const CRYPTOAPI_BLOB& left, const CRYPTOAPI_BLOB& right) noexcept {
    return left.cbData == right.cbData && left.cbData != 0 &&
           std::memcmp(left.pbData, right.pbData, left.cbData) == 0;
}

} // namespace
} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

using namespace openssl;

HCERTSTORE CertOpenStore(const char* provider, DWORD, HCRYPTPROV_LEGACY, DWORD,
                         const void* parameter) {
    if (provider == CERT_STORE_PROV_MEMORY) {
        return linux::guarded(HCERTSTORE{}, [] { return Store::openInMemory(); });
    }
    const auto* name = static_cast<const wchar_t*>(parameter);
    if (provider != CERT_STORE_PROV_SYSTEM_W || !name) {
        return linux::failWith(linux::errorFileNotFound, HCERTSTORE{});
    }
    return linux::guarded(HCERTSTORE{}, [name] {
        return foldCase(name) == L"my" ? openPersonalStore()
                                       : linux::failWith(linux::errorFileNotFound, HCERTSTORE{});
    });
}

BOOL CertCloseStore(HCERTSTORE handle, DWORD flags) {
    if (!handle) {
        return TRUE;
    }
    const std::shared_ptr<Store> store = Store::close(handle);
    if (!store) {
        return linux::failWith(linux::invalidArgument, FALSE);
    }
    if (store->contextsHeld != 0 && (flags & CERT_CLOSE_STORE_CHECK_FLAG)) {
        return linux::failWith(CRYPT_E_PENDING_CLOSE, FALSE);
    }
    return TRUE;
}

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE store, DWORD, DWORD, DWORD findType,
                                          const void* parameter, PCCERT_CONTEXT previousContext) {
    const PreviousContext previous(previousContext);
    return linux::guarded(PCCERT_CONTEXT{}, [&] {
        if (findType == CERT_FIND_SUBJECT_STR_W) {
            return findBySubject(store, static_cast<const wchar_t*>(parameter), previous);
        }
        if (findType == CERT_FIND_ENHKEY_USAGE) {
            return findByUsage(store, static_cast<const CERT_ENHKEY_USAGE*>(parameter), previous);
        }
        return linux::failWith(linux::invalidArgument, PCCERT_CONTEXT{});
    });
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previousContext) {
    const PreviousContext previous(previousContext);
    return linux::guarded(PCCERT_CONTEXT{}, [&] {
        return findNext(store, previous, [](const StoreEntry&) { return true; });
    });
}

BOOL CertAddEncodedCertificateToStore(HCERTSTORE handle, DWORD, const BYTE* encoded, DWORD size,
                                      DWORD disposition, PCCERT_CONTEXT* added) {
    if (added) {
        *added = nullptr;
    }
    return linux::guarded(BOOL{FALSE}, [&]() -> BOOL {
        const std::shared_ptr<Store> store = Store::of(handle);
        if (!store || !store->mutableContent || disposition != CERT_STORE_ADD_ALWAYS) {
            return linux::failWith(linux::invalidArgument, FALSE);
        }
        CertificatePointer certificate = decodeSingle(encoded, size);
        if (!certificate) {
            return linux::failWith(CRYPT_E_ASN1_BADTAG, FALSE);
        }
        const std::size_t position = store->content->entries.size();
        store->mutableContent->add(certificate);
        if (added) {
            *added = new Context(std::move(certificate), store, position);
        }
        return TRUE;
    });
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
    if (certificate) {
        Context::of(certificate).references.fetch_add(1, std::memory_order_relaxed);
    }
    return certificate;
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
    if (!certificate) {
        return TRUE;
    }
    const Context& context = Context::of(certificate);
    if (context.references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete &context;
    }
    return TRUE;
}

BOOL CertCompareCertificate(DWORD, CERT_INFO* left, CERT_INFO* right) {
    if (!left || !right) {
        return FALSE;
    }
    return areEqual(left->SerialNumber, right->SerialNumber) &&
           areEqual(left->Issuer, right->Issuer);
}

} // namespace VexaSsl::platform
