// A handshake that succeeds in one step, in either role, on the scripted platform: for tests of
// what comes after a handshake. A test makes a step fail by replacing its function afterwards.
//
// The client's role needs no certificate with the default options. The server's finds one
// certificate under any name, so set ServerCertificateToSendName to a name in the configuration; it
// receives one piece of input from the strategy below first.
#pragma once

#include "fakes/ScriptedPlatform.h"

#include <vector>

namespace VexaSsl::test {

class GoodHandshake {
public:
    // Fills in store, credential, both handshake calls, and the releases. The object must outlive
    // the script.
    void install(ScriptedPlatform& platform) {
        installStore(platform);
        installCredential(platform);
        platform.InitializeSecurityContextW =
            [this](CredHandle*, CtxtHandle*, wchar_t* target, ULONG, ULONG, ULONG, SecBufferDesc*,
                   ULONG, CtxtHandle* created, SecBufferDesc*, ULONG* attributes, TimeStamp*) {
                targets.emplace_back(target);
                return establish(created, attributes, ISC_RET_CONFIDENTIALITY);
            };
        platform.AcceptSecurityContext = [this](CredHandle*, CtxtHandle*, SecBufferDesc*, ULONG,
                                                ULONG, CtxtHandle* created, SecBufferDesc*,
                                                ULONG* attributes, TimeStamp*) {
            return establish(created, attributes, ASC_RET_CONFIDENTIALITY);
        };
        platform.DeleteSecurityContext = [this](CtxtHandle* context) {
            deleted.push_back(context->dwLower);
            return SEC_E_OK;
        };
    }

    std::vector<std::wstring> targets; // the names that clients authenticated, in order
    ULONG_PTR established = 0;         // contexts made; the last one's first word is this number
    std::vector<ULONG_PTR> deleted;    // the first words of the contexts deleted, in order

private:
    SECURITY_STATUS establish(CtxtHandle* created, ULONG* attributes, ULONG granted) {
        created->dwLower = ++established;
        *attributes = granted;
        return SEC_E_OK;
    }

    void installStore(ScriptedPlatform& platform) {
        platform.CertOpenStore = [this](const char*, DWORD, HCRYPTPROV_LEGACY, DWORD, const void*) {
            return static_cast<HCERTSTORE>(&certificate);
        };
        platform.CertCloseStore = [](HCERTSTORE, DWORD) { return TRUE; };
        platform.CertFindCertificateInStore = [this](HCERTSTORE, DWORD, DWORD, DWORD, const void*,
                                                     PCCERT_CONTEXT previous) {
            return previous == nullptr ? &certificate : nullptr;
        };
        platform.CertDuplicateCertificateContext = [](PCCERT_CONTEXT held) { return held; };
        platform.CertFreeCertificateContext = [](PCCERT_CONTEXT) { return TRUE; };
    }

    static void installCredential(ScriptedPlatform& platform) {
        platform.AcquireCredentialsHandleW = [](wchar_t*, wchar_t*, ULONG, void*, void*,
                                                SEC_GET_KEY_FN, void*, CredHandle* credential,
                                                TimeStamp*) {
            credential->dwLower = 1;
            return SEC_E_OK;
        };
        platform.FreeCredentialsHandle = [](CredHandle*) { return SEC_E_OK; };
    }

    CERT_INFO info;
    CERT_CONTEXT certificate{.pCertInfo = &info};
};

} // namespace VexaSsl::test
