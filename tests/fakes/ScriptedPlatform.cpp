#include "fakes/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cwchar>

namespace VexaSsl::test {

namespace {

ScriptedPlatform* inForce = nullptr;

template <typename Result, typename... Arguments>
Result play(const char* name, const std::function<Result(Arguments...)>& step,
            Arguments... arguments) {
    ScriptedPlatform::current().calls.emplace_back(name);
    if (!step) {
        ADD_FAILURE() << "unexpected platform call: " << name;
        return Result();
    }
    return step(arguments...);
}

int widenLatin(UINT, DWORD, const char* text, int length, wchar_t* buffer, int capacity) {
    const int count = std::min(length, capacity);
    for (int i = 0; i < count; ++i) {
        buffer[i] = static_cast<unsigned char>(text[i]);
    }
    return count;
}

// "text of <code>", the code unsigned.
DWORD numberAsText(DWORD, const void*, DWORD code, DWORD, wchar_t* buffer, DWORD, void*) {
    const std::wstring text = L"text of " + std::to_wstring(code);
    auto* copy = static_cast<wchar_t*>(std::malloc((text.size() + 1) * sizeof(wchar_t)));
    std::wmemcpy(copy, text.c_str(), text.size() + 1);
    *reinterpret_cast<wchar_t**>(buffer) = copy;
    return static_cast<DWORD>(text.size());
}

HLOCAL freeText(HLOCAL memory) {
    std::free(memory);
    return nullptr;
}

} // namespace

ScriptedPlatform::ScriptedPlatform()
    : MultiByteToWideChar(widenLatin), FormatMessageW(numberAsText), LocalFree(freeText) {
    EXPECT_EQ(inForce, nullptr) << "two scripts at a time";
    inForce = this;
}

ScriptedPlatform::~ScriptedPlatform() {
    inForce = nullptr;
}

ScriptedPlatform& ScriptedPlatform::current() {
    if (inForce == nullptr) {
        ADD_FAILURE() << "a platform call while no script is in force";
        std::abort();
    }
    return *inForce;
}

} // namespace VexaSsl::test

namespace VexaSsl::platform {

using test::ScriptedPlatform;

void WSASetLastError(int error) {
    ScriptedPlatform::current().calls.emplace_back("WSASetLastError");
    ScriptedPlatform::current().lastError = error;
}

int WSAGetLastError() {
    ScriptedPlatform::current().calls.emplace_back("WSAGetLastError");
    return ScriptedPlatform::current().lastError;
}

DWORD GetLastError() {
    ScriptedPlatform::current().calls.emplace_back("GetLastError");
    ScriptedPlatform::current().onGetLastError();
    return static_cast<DWORD>(ScriptedPlatform::current().lastError);
}

int send(SOCKET s, const char* buf, int len, int flags) {
    return test::play("send", ScriptedPlatform::current().send, s, buf, len, flags);
}

int recv(SOCKET s, char* buf, int len, int flags) {
    return test::play("recv", ScriptedPlatform::current().recv, s, buf, len, flags);
}

int connect(SOCKET s, const sockaddr* name, int namelen) {
    return test::play("connect", ScriptedPlatform::current().connect, s, name, namelen);
}

SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) {
    return test::play("accept", ScriptedPlatform::current().accept, s, addr, addrlen);
}

int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout) {
    return test::play("select", ScriptedPlatform::current().select, nfds, readfds, writefds,
                      exceptfds, timeout);
}

int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints, addrinfo** res) {
    return test::play("getaddrinfo", ScriptedPlatform::current().getaddrinfo, nodename, servname,
                      hints, res);
}

int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                 ADDRINFOW** result) {
    return test::play("GetAddrInfoW", ScriptedPlatform::current().GetAddrInfoW, nodename,
                      servicename, hints, result);
}

BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer, DWORD receiveDataLength,
              DWORD localAddressLength, DWORD remoteAddressLength, DWORD* bytesReceived,
              OVERLAPPED* overlapped) {
    return test::play("AcceptEx", ScriptedPlatform::current().AcceptEx, listenSocket, acceptSocket,
                      outputBuffer, receiveDataLength, localAddressLength, remoteAddressLength,
                      bytesReceived, overlapped);
}

SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                 DWORD_PTR callbackData) {
    return test::play("WSAAccept", ScriptedPlatform::current().WSAAccept, s, addr, addrlen,
                      condition, callbackData);
}

int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return test::play("WSASend", ScriptedPlatform::current().WSASend, s, buffers, bufferCount,
                      bytesSent, flags, overlapped, completionRoutine);
}

int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return test::play("WSARecv", ScriptedPlatform::current().WSARecv, s, buffers, bufferCount,
                      bytesReceived, flags, overlapped, completionRoutine);
}

int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData, WSABUF* calleeData,
               QOS* sqos, QOS* gqos) {
    return test::play("WSAConnect", ScriptedPlatform::current().WSAConnect, s, name, namelen,
                      callerData, calleeData, sqos, gqos);
}

int shutdown(SOCKET s, int how) {
    return test::play("shutdown", ScriptedPlatform::current().shutdown, s, how);
}

int __WSAFDIsSet(SOCKET s, fd_set* set) {
    return test::play("__WSAFDIsSet", ScriptedPlatform::current().__WSAFDIsSet, s, set);
}

int GetNameInfoW(const sockaddr* address, int addressLength, wchar_t* node, DWORD nodeLength,
                 wchar_t* service, DWORD serviceLength, int flags) {
    return test::play("GetNameInfoW", ScriptedPlatform::current().GetNameInfoW, address,
                      addressLength, node, nodeLength, service, serviceLength, flags);
}

SECURITY_STATUS EnumerateSecurityPackagesW(ULONG* count, SecPkgInfoW** packages) {
    return test::play("EnumerateSecurityPackagesW",
                      ScriptedPlatform::current().EnumerateSecurityPackagesW, count, packages);
}

SECURITY_STATUS AcquireCredentialsHandleW(wchar_t* principal, wchar_t* package, ULONG use,
                                          void* logonId, void* authData, SEC_GET_KEY_FN keyFunction,
                                          void* keyArgument, CredHandle* credential,
                                          TimeStamp* expiry) {
    return test::play("AcquireCredentialsHandleW",
                      ScriptedPlatform::current().AcquireCredentialsHandleW, principal, package,
                      use, logonId, authData, keyFunction, keyArgument, credential, expiry);
}

SECURITY_STATUS FreeCredentialsHandle(CredHandle* credential) {
    return test::play("FreeCredentialsHandle", ScriptedPlatform::current().FreeCredentialsHandle,
                      credential);
}

SECURITY_STATUS InitializeSecurityContextW(CredHandle* credential, CtxtHandle* context,
                                           wchar_t* targetName, ULONG requirements, ULONG reserved1,
                                           ULONG dataRepresentation, SecBufferDesc* input,
                                           ULONG reserved2, CtxtHandle* newContext,
                                           SecBufferDesc* output, ULONG* attributes,
                                           TimeStamp* expiry) {
    return test::play("InitializeSecurityContextW",
                      ScriptedPlatform::current().InitializeSecurityContextW, credential, context,
                      targetName, requirements, reserved1, dataRepresentation, input, reserved2,
                      newContext, output, attributes, expiry);
}

SECURITY_STATUS AcceptSecurityContext(CredHandle* credential, CtxtHandle* context,
                                      SecBufferDesc* input, ULONG requirements,
                                      ULONG dataRepresentation, CtxtHandle* newContext,
                                      SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry) {
    return test::play("AcceptSecurityContext", ScriptedPlatform::current().AcceptSecurityContext,
                      credential, context, input, requirements, dataRepresentation, newContext,
                      output, attributes, expiry);
}

SECURITY_STATUS QueryContextAttributesW(CtxtHandle* context, ULONG attribute, void* buffer) {
    return test::play("QueryContextAttributesW",
                      ScriptedPlatform::current().QueryContextAttributesW, context, attribute,
                      buffer);
}

SECURITY_STATUS EncryptMessage(CtxtHandle* context, ULONG qualityOfProtection,
                               SecBufferDesc* message, ULONG sequence) {
    return test::play("EncryptMessage", ScriptedPlatform::current().EncryptMessage, context,
                      qualityOfProtection, message, sequence);
}

SECURITY_STATUS DecryptMessage(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                               ULONG* qualityOfProtection) {
    return test::play("DecryptMessage", ScriptedPlatform::current().DecryptMessage, context,
                      message, sequence, qualityOfProtection);
}

SECURITY_STATUS DeleteSecurityContext(CtxtHandle* context) {
    return test::play("DeleteSecurityContext", ScriptedPlatform::current().DeleteSecurityContext,
                      context);
}

SECURITY_STATUS FreeContextBuffer(void* buffer) {
    return test::play("FreeContextBuffer", ScriptedPlatform::current().FreeContextBuffer, buffer);
}

HCERTSTORE CertOpenStore(const char* provider, DWORD encoding, HCRYPTPROV_LEGACY cryptoProvider,
                         DWORD flags, const void* parameter) {
    return test::play("CertOpenStore", ScriptedPlatform::current().CertOpenStore, provider,
                      encoding, cryptoProvider, flags, parameter);
}

BOOL CertCloseStore(HCERTSTORE store, DWORD flags) {
    return test::play("CertCloseStore", ScriptedPlatform::current().CertCloseStore, store, flags);
}

PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD findFlags,
                                          DWORD findType, const void* parameter,
                                          PCCERT_CONTEXT previous) {
    return test::play("CertFindCertificateInStore",
                      ScriptedPlatform::current().CertFindCertificateInStore, store, encoding,
                      findFlags, findType, parameter, previous);
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    return test::play("CertEnumCertificatesInStore",
                      ScriptedPlatform::current().CertEnumCertificatesInStore, store, previous);
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
    return test::play("CertDuplicateCertificateContext",
                      ScriptedPlatform::current().CertDuplicateCertificateContext, certificate);
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
    return test::play("CertFreeCertificateContext",
                      ScriptedPlatform::current().CertFreeCertificateContext, certificate);
}

BOOL CertCompareCertificate(DWORD encoding, CERT_INFO* left, CERT_INFO* right) {
    return test::play("CertCompareCertificate", ScriptedPlatform::current().CertCompareCertificate,
                      encoding, left, right);
}

BOOL CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD flags,
                             void* reserved, PCCERT_CHAIN_CONTEXT* chain) {
    return test::play("CertGetCertificateChain",
                      ScriptedPlatform::current().CertGetCertificateChain, engine, certificate,
                      time, additionalStore, parameters, flags, reserved, chain);
}

BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status) {
    return test::play("CertVerifyCertificateChainPolicy",
                      ScriptedPlatform::current().CertVerifyCertificateChainPolicy, policy, chain,
                      parameters, status);
}

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
    return test::play("CertFreeCertificateChain",
                      ScriptedPlatform::current().CertFreeCertificateChain, chain);
}

DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* typeParameter,
                         wchar_t* buffer, DWORD size) {
    return test::play("CertGetNameStringW", ScriptedPlatform::current().CertGetNameStringW,
                      certificate, type, flags, typeParameter, buffer, size);
}

PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND parent,
                                                    const wchar_t* title, const wchar_t* display,
                                                    DWORD dontUseColumn, DWORD flags,
                                                    void* reserved) {
    return test::play("CryptUIDlgSelectCertificateFromStore",
                      ScriptedPlatform::current().CryptUIDlgSelectCertificateFromStore, store,
                      parent, title, display, dontUseColumn, flags, reserved);
}

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* buffer,
                        int capacity) {
    return ScriptedPlatform::current().MultiByteToWideChar(codePage, flags, text, length, buffer,
                                                           capacity);
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* buffer,
                        int capacity, const char* defaultCharacter, BOOL* usedDefaultCharacter) {
    return ScriptedPlatform::current().WideCharToMultiByte(
        codePage, flags, text, length, buffer, capacity, defaultCharacter, usedDefaultCharacter);
}

DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, va_list* arguments) {
    return ScriptedPlatform::current().FormatMessageW(flags, source, code, language, buffer, size,
                                                      arguments);
}

HLOCAL LocalFree(HLOCAL memory) {
    return ScriptedPlatform::current().LocalFree(memory);
}

DWORD GetModuleFileNameW(HMODULE module, wchar_t* buffer, DWORD size) {
    return test::play("GetModuleFileNameW", ScriptedPlatform::current().GetModuleFileNameW, module,
                      buffer, size);
}

BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size) {
    return test::play("GetComputerNameExW", ScriptedPlatform::current().GetComputerNameExW, format,
                      buffer, size);
}

BOOL GetUserNameW(wchar_t* buffer, DWORD* size) {
    return test::play("GetUserNameW", ScriptedPlatform::current().GetUserNameW, buffer, size);
}

BOOL DisableThreadLibraryCalls(HMODULE module) {
    return test::play("DisableThreadLibraryCalls",
                      ScriptedPlatform::current().DisableThreadLibraryCalls, module);
}

DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size) {
    return test::play("GetModuleFileNameA", ScriptedPlatform::current().GetModuleFileNameA, module,
                      buffer, size);
}

HMODULE LoadLibraryA(const char* name) {
    return test::play("LoadLibraryA", ScriptedPlatform::current().LoadLibraryA, name);
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
    return test::play("GetProcAddress", ScriptedPlatform::current().GetProcAddress, module, name);
}

DWORD GetFileVersionInfoSizeA(const char* fileName, DWORD* ignored) {
    return test::play("GetFileVersionInfoSizeA",
                      ScriptedPlatform::current().GetFileVersionInfoSizeA, fileName, ignored);
}

BOOL GetFileVersionInfoA(const char* fileName, DWORD ignored, DWORD size, void* block) {
    return test::play("GetFileVersionInfoA", ScriptedPlatform::current().GetFileVersionInfoA,
                      fileName, ignored, size, block);
}

BOOL VerQueryValueA(const void* block, const char* path, void** value, UINT* length) {
    return test::play("VerQueryValueA", ScriptedPlatform::current().VerQueryValueA, block, path,
                      value, length);
}

void DebugBreak() {
    return test::play("DebugBreak", ScriptedPlatform::current().DebugBreak);
}

} // namespace VexaSsl::platform
