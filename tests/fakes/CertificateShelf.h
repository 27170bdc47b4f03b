// Certificates for unit tests: scripts the certificate operations of the platform, counts the
// references, and answers searches, names and chains from what the test put on the shelf.
//
// An untouched shelf has an openable store with nothing in it. The test replaces single operations
// in the ScriptedPlatform where it wants others.
#pragma once

#include "fakes/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace VexaSsl::test {

class CertificateShelf {
public:
    explicit CertificateShelf(ScriptedPlatform& scripted) : platform(scripted) {
        scriptStore();
        scriptReferences();
        scriptNames();
        scriptChains();
    }

    // A certificate that nobody holds yet. Trusted, until it is put among the untrusted.
    PCCERT_CONTEXT make(std::vector<std::wstring> dnsNames = {}, std::wstring friendlyName = {}) {
        Entry& entry = entries.emplace_back();
        entry.context.pCertInfo = &entry.info;
        entry.dnsNames = std::move(dnsNames);
        entry.friendlyName = std::move(friendlyName);
        references[&entry.context] = 0;
        return &entry.context;
    }

    // A reference as the platform would hand one out.
    PCCERT_CONTEXT lend(PCCERT_CONTEXT certificate) {
        ++references[certificate];
        return certificate;
    }

    // References that were handed out and not released.
    int held() const {
        int sum = 0;
        for (const auto& [certificate, count] : references) {
            sum += count;
        }
        return sum;
    }

    std::vector<PCCERT_CONTEXT> stored; // what a walk through the whole store meets
    std::vector<PCCERT_CONTEXT> foundByName;
    std::vector<PCCERT_CONTEXT> foundByUsage;
    std::set<PCCERT_CONTEXT> untrusted;
    std::set<PCCERT_CONTEXT> untrustedForClients; // and for servers trusted
    std::map<PCCERT_CONTEXT, int> references;
    std::vector<std::wstring> namesSearched;
    std::vector<std::string> usagesSearched;
    HCERTSTORE storeHandle = this;

private:
    struct Entry {
        CERT_INFO info{};
        CERT_CONTEXT context{};
        std::vector<std::wstring> dnsNames;
        std::wstring friendlyName;
    };

    // A chain of the certificate alone.
    struct Chain {
        Chain(PCCERT_CONTEXT certificate, bool isForServer) : forServer(isForServer) {
            element.pCertContext = certificate;
            simple.cElement = 1;
            simple.rgpElement = elements;
            context.cChain = 1;
            context.rgpChain = simples;
        }
        CERT_CHAIN_ELEMENT element{};
        CERT_CHAIN_ELEMENT* elements[1] = {&element};
        CERT_SIMPLE_CHAIN simple{};
        CERT_SIMPLE_CHAIN* simples[1] = {&simple};
        CERT_CHAIN_CONTEXT context{};
        bool forServer;
    };

    void scriptStore() {
        platform.CertOpenStore = [this](auto...) { return storeHandle; };
        platform.CertCloseStore = [](auto...) { return TRUE; };
        platform.CertFindCertificateInStore =
            [this](HCERTSTORE, DWORD, DWORD, DWORD findType, const void* parameter,
                   PCCERT_CONTEXT previous) { return findNext(findType, parameter, previous); };
        platform.CertEnumCertificatesInStore = [this](HCERTSTORE, PCCERT_CONTEXT previous) {
            return stepBehind(previous, stored);
        };
    }

    PCCERT_CONTEXT findNext(DWORD findType, const void* parameter, PCCERT_CONTEXT previous) {
        const bool byName = findType == CERT_FIND_SUBJECT_STR_W;
        const std::vector<PCCERT_CONTEXT>& found = byName ? foundByName : foundByUsage;
        if (previous == nullptr && byName) {
            namesSearched.emplace_back(static_cast<const wchar_t*>(parameter));
        } else if (previous == nullptr) {
            const auto* usage = static_cast<const CERT_ENHKEY_USAGE*>(parameter);
            usagesSearched.emplace_back(usage->rgpszUsageIdentifier[0]);
        }
        return stepBehind(previous, found);
    }

    // A step of a walk, which releases the certificate that it goes on from.
    PCCERT_CONTEXT stepBehind(PCCERT_CONTEXT previous, const std::vector<PCCERT_CONTEXT>& walked) {
        auto next = walked.begin();
        if (previous != nullptr) {
            next = std::find(walked.begin(), walked.end(), previous) + 1;
            giveBack(previous);
        }
        if (next == walked.end()) {
            platform.lastError = static_cast<int>(CRYPT_E_NOT_FOUND);
            return nullptr;
        }
        return lend(*next);
    }

    void giveBack(PCCERT_CONTEXT certificate) {
        if (references.at(certificate)-- == 0) {
            ADD_FAILURE() << "a certificate was released more often than it was held";
        }
    }

    void scriptReferences() {
        platform.CertDuplicateCertificateContext = [this](PCCERT_CONTEXT certificate) {
            return lend(certificate);
        };
        platform.CertFreeCertificateContext = [this](PCCERT_CONTEXT certificate) {
            giveBack(certificate);
            return TRUE;
        };
        platform.CertCompareCertificate = [](DWORD, CERT_INFO* left, CERT_INFO* right) {
            return left == right ? TRUE : FALSE;
        };
    }

    void scriptNames() {
        platform.CertGetNameStringW = [this](PCCERT_CONTEXT certificate, DWORD type, DWORD, void*,
                                             wchar_t* buffer, DWORD size) {
            const std::wstring text = nameText(certificate, type);
            if (buffer != nullptr) {
                std::wmemcpy(buffer, text.c_str(), std::min<std::size_t>(text.size() + 1, size));
            }
            return static_cast<DWORD>(text.size() + 1);
        };
    }

    // What stands before the last terminator.
    std::wstring nameText(PCCERT_CONTEXT certificate, DWORD type) const {
        const auto entry =
            std::find_if(entries.begin(), entries.end(),
                         [&](const Entry& candidate) { return &candidate.context == certificate; });
        if (type == CERT_NAME_FRIENDLY_DISPLAY_TYPE) {
            return entry->friendlyName;
        }
        std::wstring text;
        for (const std::wstring& name : entry->dnsNames) {
            text += name + L'\0';
        }
        return text;
    }

    void scriptChains() {
        platform.CertGetCertificateChain =
            [this](HCERTCHAINENGINE, PCCERT_CONTEXT certificate, FILETIME*, HCERTSTORE,
                   CERT_CHAIN_PARA* parameters, DWORD, void*, PCCERT_CHAIN_CONTEXT* chain) {
                const std::string usage = parameters->RequestedUsage.Usage.rgpszUsageIdentifier[0];
                *chain = &chains.emplace_back(certificate, usage == "1.3.6.1.5.5.7.3.1").context;
                return TRUE;
            };
        platform.CertVerifyCertificateChainPolicy = [this](const char*, PCCERT_CHAIN_CONTEXT chain,
                                                           CERT_CHAIN_POLICY_PARA*,
                                                           CERT_CHAIN_POLICY_STATUS* status) {
            const PCCERT_CONTEXT judged = chain->rgpChain[0]->rgpElement[0]->pCertContext;
            status->dwError = untrusted.count(judged) != 0 ? CERT_E_UNTRUSTEDROOT : 0;
            if (untrustedForClients.count(judged) != 0 && !isForServer(chain)) {
                status->dwError = CERT_E_WRONG_USAGE;
            }
            status->lChainIndex = -1;
            status->lElementIndex = -1;
            return TRUE;
        };
        platform.CertFreeCertificateChain = [](PCCERT_CHAIN_CONTEXT) {};
    }

    bool isForServer(PCCERT_CHAIN_CONTEXT chain) const {
        return std::any_of(chains.begin(), chains.end(), [chain](const Chain& made) {
            return &made.context == chain && made.forServer;
        });
    }

    ScriptedPlatform& platform;
    std::deque<Entry> entries; // addresses stay
    std::deque<Chain> chains;
};

} // namespace VexaSsl::test
