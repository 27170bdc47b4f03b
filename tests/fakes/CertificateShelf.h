// Certificates for unit tests: scripts the certificate operations of the platform, counts the
// references, and answers searches, names and chains from what the test put on the shelf.
//
// An untouched shelf has an openable store with nothing in it. The test replaces single operations
// in the ScriptedPlatform where it wants others.
#pragma once

#include "fakes/ScriptedPlatform.h"

#include <deque>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace VexaSsl::test {

class CertificateShelf {
public:
    explicit CertificateShelf(ScriptedPlatform& scripted);
    ~CertificateShelf();

    // A certificate that nobody holds yet. Trusted, until it is put among the untrusted.
    PCCERT_CONTEXT make(std::vector<std::wstring> dnsNames = {}, std::wstring friendlyName = {});

    // A reference as the platform would hand one out.
    PCCERT_CONTEXT lend(PCCERT_CONTEXT certificate);

    // What the user picks from the whole store when asked; null for a list that is closed.
    void userPicks(PCCERT_CONTEXT certificate);

    // References that were handed out and not released.
    int held() const;

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

    void scriptStore();

    PCCERT_CONTEXT findNext(DWORD findType, const void* parameter, PCCERT_CONTEXT previous);

    // A step of a walk, which releases the certificate that it goes on from.
    PCCERT_CONTEXT stepBehind(PCCERT_CONTEXT previous, const std::vector<PCCERT_CONTEXT>& walked);

    void giveBack(PCCERT_CONTEXT certificate);

    void scriptReferences();

    void scriptNames();

    // What stands before the last terminator.
    std::wstring nameText(PCCERT_CONTEXT certificate, DWORD type) const;

    void scriptChains();

    bool isForServer(PCCERT_CHAIN_CONTEXT chain) const;

    ScriptedPlatform& platform;
    std::deque<Entry> entries; // addresses stay
    std::deque<Chain> chains;
};

} // namespace VexaSsl::test
