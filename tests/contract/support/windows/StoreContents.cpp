// The personal store is the local machine's. The trust anchors are the current user's, because
// those of the machine may not persist. What a test adds carries a mark, so that it is removed
// later even if the test crashes.
#include "contract/support/StoreContents.h"

#include "ContainerKey.h"

#include <algorithm>
#include <map>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

constexpr wchar_t mark[] = L"a throwaway of the contract suite";

HCERTSTORE openStore(DWORD place, const wchar_t* name) {
    const HCERTSTORE store = ::CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, place, name);
    if (!store) {
        throw std::runtime_error("cannot open a system store");
    }
    return store;
}

PCCERT_CONTEXT contextFrom(const std::string& encoding) {
    const PCCERT_CONTEXT made = ::CertCreateCertificateContext(
        X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(encoding.data()),
        static_cast<DWORD>(encoding.size()));
    if (!made) {
        throw std::runtime_error("invalid certificate: " + std::to_string(::GetLastError()));
    }
    return made;
}

std::string encodingOf(PCCERT_CONTEXT certificate) {
    return {certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded};
}

bool isMarked(PCCERT_CONTEXT certificate) {
    wchar_t text[64] = {};
    DWORD size = sizeof text;
    return ::CertGetCertificateContextProperty(certificate, CERT_DESCRIPTION_PROP_ID, text,
                                               &size) &&
           std::wstring(text) == mark;
}

// A system store whose marked certificates are removed at the start and at the end.
class Shelf {
public:
    Shelf(DWORD place, const wchar_t* name) : store(openStore(place, name)) { clear(); }
    ~Shelf() {
        clear();
        ::CertCloseStore(store, 0);
    }
    Shelf(const Shelf&) = delete;
    Shelf& operator=(const Shelf&) = delete;

    void put(const std::string& name, const Issued& issued) {
        take(name);
        const PCCERT_CONTEXT certificate = contextFrom(issued.encoding);
        CRYPT_DATA_BLOB text{sizeof mark, reinterpret_cast<BYTE*>(const_cast<wchar_t*>(mark))};
        ::CertSetCertificateContextProperty(certificate, CERT_DESCRIPTION_PROP_ID, 0, &text);
        issued.key->attachTo(certificate);
        const BOOL added = ::CertAddCertificateContextToStore(
            store, certificate, CERT_STORE_ADD_REPLACE_EXISTING, nullptr);
        ::CertFreeCertificateContext(certificate);
        commit();
        if (!added) {
            throw std::runtime_error("cannot add to a system store");
        }
        encodings[name] = issued.encoding;
    }

    void take(const std::string& name) {
        const auto place = encodings.find(name);
        if (place == encodings.end()) {
            return;
        }
        remove([&place](PCCERT_CONTEXT one) { return encodingOf(one) == place->second; });
        encodings.erase(place);
    }

private:
    void clear() { remove(isMarked); }

    // Not every system allows deleting during the enumeration.
    template <class Condition>
    void remove(const Condition& isMeant) {
        std::vector<PCCERT_CONTEXT> meant;
        PCCERT_CONTEXT certificate = nullptr;
        while ((certificate = ::CertEnumCertificatesInStore(store, certificate))) {
            if (isMeant(certificate)) {
                meant.push_back(::CertDuplicateCertificateContext(certificate));
            }
        }
        for (const PCCERT_CONTEXT one : meant) {
            ::CertDeleteCertificateFromStore(one);
        }
        if (!meant.empty()) {
            commit();
        }
    }

    void commit() { ::CertControlStore(store, 0, CERT_STORE_CTRL_COMMIT, nullptr); }

    const HCERTSTORE store;
    std::map<std::string, std::string> encodings;
};

} // namespace

struct StoreContents::State {
    SystemLock lock{L"vexassl-contract-stores"};
    Shelf personal{CERT_SYSTEM_STORE_LOCAL_MACHINE, L"MY"};
    Shelf anchors{CERT_SYSTEM_STORE_CURRENT_USER, L"Root"};
};

StoreContents::StoreContents() : state(std::make_unique<State>()) {}

StoreContents::~StoreContents() = default;

void StoreContents::install(const std::string& name, const Issued& issued) {
    state->personal.put(name, issued);
}

void StoreContents::uninstall(const std::string& name) {
    state->personal.take(name);
}

void StoreContents::trust(const std::string& name, const Issued& issued) {
    state->anchors.put(name, issued);
}

void StoreContents::distrust(const std::string& name) {
    state->anchors.take(name);
}

bool belongsToTheTest(PCCERT_CONTEXT certificate) {
    return isMarked(certificate);
}

PCCERT_CONTEXT makeContext(const Issued& issued, const std::vector<const Issued*>& helpers) {
    const HCERTSTORE store = ::CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, 0, nullptr);
    PCCERT_CONTEXT made = nullptr;
    const PCCERT_CONTEXT own = contextFrom(issued.encoding);
    issued.key->attachTo(own);
    ::CertAddCertificateContextToStore(store, own, CERT_STORE_ADD_ALWAYS, &made);
    ::CertFreeCertificateContext(own);
    for (const Issued* helper : helpers) {
        ::CertAddEncodedCertificateToStore(
            store, X509_ASN_ENCODING, reinterpret_cast<const BYTE*>(helper->encoding.data()),
            static_cast<DWORD>(helper->encoding.size()), CERT_STORE_ADD_ALWAYS, nullptr);
    }
    ::CertCloseStore(store, 0); // its contexts keep it alive
    return made;
}

} // namespace VexaSsl::test
