// Certificates for unit tests: scripts the certificate operations of the platform, counts
// references, and answers searches, names and chains from the certificates that the test has added.
//
// A new shelf has an empty store that can be opened. A test may replace single operations in the
// ScriptedPlatform.
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
    explicit CertificateShelf(ScriptedPlatform& platform);
    ~CertificateShelf();

    // Returns a certificate without references, trusted unless it is added to untrusted. Its
    // subject is "CN=" and the friendly name, its encoding the bytes 0x30 and its number from 1 on.
    PCCERT_CONTEXT make(std::vector<std::wstring> dnsNames = {}, std::wstring friendlyName = {});

    // Returns a counted reference, as the platform does.
    PCCERT_CONTEXT addReference(PCCERT_CONTEXT certificate);

    // Scripts the picker to return the certificate, or null for a dialog that was closed.
    void userPicks(PCCERT_CONTEXT certificate);

    // The number of references that were not released.
    int held() const;

    std::vector<PCCERT_CONTEXT> stored; // found by an enumeration
    std::vector<PCCERT_CONTEXT> foundByName;
    std::vector<PCCERT_CONTEXT> foundByUsage;
    std::set<PCCERT_CONTEXT> untrusted;
    std::set<PCCERT_CONTEXT> untrustedForServers; // for clients, they may be trusted
    std::set<PCCERT_CONTEXT> untrustedForClients;
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
        BYTE encoded[2] = {0x30};
    };

    // A chain of the certificate alone.
    struct Chain {
        Chain(PCCERT_CONTEXT certificate, bool forServer) : forServer(forServer) {
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

    // The step of an enumeration or search; releases the previous certificate.
    PCCERT_CONTEXT nextAfter(PCCERT_CONTEXT previous, const std::vector<PCCERT_CONTEXT>& list);

    void release(PCCERT_CONTEXT certificate);

    void scriptReferences();

    void scriptNames();

    // The text before the last terminator.
    std::wstring nameText(PCCERT_CONTEXT certificate, DWORD type) const;

    void scriptChains();

    bool isForServer(PCCERT_CHAIN_CONTEXT chain) const;

    ScriptedPlatform& platform;
    std::deque<Entry> entries; // addresses are stable
    std::deque<Chain> chains;
};

} // namespace VexaSsl::test
