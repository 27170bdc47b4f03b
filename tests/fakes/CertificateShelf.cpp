#include "fakes/CertificateShelf.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <utility>

namespace VexaSsl::test {

CertificateShelf::CertificateShelf(ScriptedPlatform& platform) : platform(platform) {
    scriptStore();
    scriptReferences();
    scriptNames();
    scriptChains();
}

CertificateShelf::~CertificateShelf() = default;

PCCERT_CONTEXT CertificateShelf::make(std::vector<std::wstring> dnsNames,
                                      std::wstring friendlyName) {
    Entry& entry = entries.emplace_back();
    entry.encoded[1] = static_cast<BYTE>(entries.size());
    entry.context.pbCertEncoded = entry.encoded;
    entry.context.cbCertEncoded = sizeof entry.encoded;
    entry.context.pCertInfo = &entry.info;
    entry.dnsNames = std::move(dnsNames);
    entry.friendlyName = std::move(friendlyName);
    references[&entry.context] = 0;
    return &entry.context;
}

PCCERT_CONTEXT CertificateShelf::addReference(PCCERT_CONTEXT certificate) {
    ++references[certificate];
    return certificate;
}

void CertificateShelf::userPicks(PCCERT_CONTEXT certificate) {
    platform.CryptUIDlgSelectCertificateFromStore =
        [=, this](HCERTSTORE store, HWND parent, const wchar_t* title, const wchar_t* display,
                  DWORD dontUseColumn, DWORD flags, void* reserved) {
            EXPECT_EQ(store, storeHandle);
            EXPECT_EQ(parent, nullptr);
            EXPECT_EQ(title, nullptr);
            EXPECT_EQ(display, nullptr);
            EXPECT_EQ(dontUseColumn, 0U);
            EXPECT_EQ(flags, 0U);
            EXPECT_EQ(reserved, nullptr);
            return certificate == nullptr ? nullptr : addReference(certificate);
        };
}

int CertificateShelf::held() const {
    int sum = 0;
    for (const auto& [certificate, count] : references) {
        sum += count;
    }
    return sum;
}

void CertificateShelf::scriptStore() {
    platform.CertOpenStore = [this](auto...) { return storeHandle; };
    platform.CertCloseStore = [](auto...) { return TRUE; };
    platform.CertFindCertificateInStore = [this](HCERTSTORE, DWORD, DWORD, DWORD findType,
                                                 const void* parameter, PCCERT_CONTEXT previous) {
        return findNext(findType, parameter, previous);
    };
    platform.CertEnumCertificatesInStore = [this](HCERTSTORE, PCCERT_CONTEXT previous) {
        return nextAfter(previous, stored);
    };
}

PCCERT_CONTEXT CertificateShelf::findNext(DWORD findType, const void* parameter,
                                          PCCERT_CONTEXT previous) {
    const bool byName = findType == CERT_FIND_SUBJECT_STR_W;
    const std::vector<PCCERT_CONTEXT>& found = byName ? foundByName : foundByUsage;
    if (previous == nullptr && byName) {
        namesSearched.emplace_back(static_cast<const wchar_t*>(parameter));
    } else if (previous == nullptr) {
        const auto* usage = static_cast<const CERT_ENHKEY_USAGE*>(parameter);
        usagesSearched.emplace_back(usage->rgpszUsageIdentifier[0]);
    }
    return nextAfter(previous, found);
}

PCCERT_CONTEXT CertificateShelf::nextAfter(PCCERT_CONTEXT previous,
                                           const std::vector<PCCERT_CONTEXT>& list) {
    auto next = list.begin();
    if (previous != nullptr) {
        next = std::find(list.begin(), list.end(), previous) + 1;
        release(previous);
    }
    if (next == list.end()) {
        platform.lastError = static_cast<int>(CRYPT_E_NOT_FOUND);
        return nullptr;
    }
    return addReference(*next);
}

void CertificateShelf::release(PCCERT_CONTEXT certificate) {
    if (references.at(certificate)-- == 0) {
        ADD_FAILURE() << "a certificate was released more often than it was held";
    }
}

void CertificateShelf::scriptReferences() {
    platform.CertDuplicateCertificateContext = [this](PCCERT_CONTEXT certificate) {
        return addReference(certificate);
    };
    platform.CertFreeCertificateContext = [this](PCCERT_CONTEXT certificate) {
        release(certificate);
        return TRUE;
    };
    platform.CertCompareCertificate = [](DWORD, CERT_INFO* left, CERT_INFO* right) {
        return left == right ? TRUE : FALSE;
    };
}

void CertificateShelf::scriptNames() {
    platform.CertGetNameStringW = [this](PCCERT_CONTEXT certificate, DWORD type, DWORD, void*,
                                         wchar_t* buffer, DWORD size) {
        const std::wstring text = nameText(certificate, type);
        if (buffer != nullptr) {
            std::wmemcpy(buffer, text.c_str(), std::min<std::size_t>(text.size() + 1, size));
        }
        return static_cast<DWORD>(text.size() + 1);
    };
}

std::wstring CertificateShelf::nameText(PCCERT_CONTEXT certificate, DWORD type) const {
    const auto entry = std::find_if(entries.begin(), entries.end(), [&](const Entry& candidate) {
        return &candidate.context == certificate;
    });
    if (type == CERT_NAME_RDN_TYPE) {
        return L"CN=" + entry->friendlyName;
    }
    if (type == CERT_NAME_FRIENDLY_DISPLAY_TYPE) {
        return entry->friendlyName;
    }
    std::wstring text;
    for (const std::wstring& name : entry->dnsNames) {
        text += name + L'\0';
    }
    return text;
}

void CertificateShelf::scriptChains() {
    platform.CertGetCertificateChain = [this](HCERTCHAINENGINE, PCCERT_CONTEXT certificate,
                                              FILETIME*, HCERTSTORE, CERT_CHAIN_PARA* parameters,
                                              DWORD, void*, PCCERT_CHAIN_CONTEXT* chain) {
        const std::string usage = parameters->RequestedUsage.Usage.rgpszUsageIdentifier[0];
        *chain = &chains.emplace_back(certificate, usage == "1.3.6.1.5.5.7.3.1").context;
        return TRUE;
    };
    platform.CertVerifyCertificateChainPolicy = [this](const char*, PCCERT_CHAIN_CONTEXT chain,
                                                       CERT_CHAIN_POLICY_PARA*,
                                                       CERT_CHAIN_POLICY_STATUS* status) {
        const PCCERT_CONTEXT judged = chain->rgpChain[0]->rgpElement[0]->pCertContext;
        status->dwError = untrusted.count(judged) != 0 ? CERT_E_UNTRUSTEDROOT : 0;
        const auto& wrong = isForServer(chain) ? untrustedForServers : untrustedForClients;
        if (wrong.count(judged) != 0) {
            status->dwError = CERT_E_WRONG_USAGE;
        }
        status->lChainIndex = -1;
        status->lElementIndex = -1;
        return TRUE;
    };
    platform.CertFreeCertificateChain = [](PCCERT_CHAIN_CONTEXT) {};
}

bool CertificateShelf::isForServer(PCCERT_CHAIN_CONTEXT chain) const {
    return std::any_of(chains.begin(), chains.end(), [chain](const Chain& made) {
        return &made.context == chain && made.forServer;
    });
}

} // namespace VexaSsl::test
