// The platform of the unit tests: every operation of the contract headers is a std::function that a
// test sets. An unset operation fails the test. The last error is a plain variable.
//
// One object at a time may exist. The text and text file functions and LocalFree are implemented,
// since most log lines need them.
#pragma once

#include "platform/contract/CryptoApi.h"
#include "platform/contract/SecuritySupport.h"
#include "platform/contract/WindowsBase.h"
#include "platform/contract/Winsock.h"

#include <functional>
#include <string>
#include <vector>

namespace VexaSsl::test {

class ScriptedPlatform {
public:
    ScriptedPlatform();
    ~ScriptedPlatform();
    ScriptedPlatform(const ScriptedPlatform&) = delete;
    ScriptedPlatform& operator=(const ScriptedPlatform&) = delete;

    static ScriptedPlatform& current();

    // The names of the calls in order, without those of text functions.
    std::vector<std::string> calls;
    int lastError = 0;
    std::function<void()> onGetLastError = [] {}; // runs before the number is read

    // Winsock.h
    std::function<int(SOCKET, const char*, int, int)> send;
    std::function<int(SOCKET, char*, int, int)> recv;
    std::function<int(SOCKET, const sockaddr*, int)> connect;
    std::function<SOCKET(SOCKET, sockaddr*, int*)> accept;
    std::function<int(int, fd_set*, fd_set*, fd_set*, const timeval*)> select;
    std::function<int(const char*, const char*, const addrinfo*, addrinfo**)> getaddrinfo;
    std::function<int(const wchar_t*, const wchar_t*, const ADDRINFOW*, ADDRINFOW**)> GetAddrInfoW;
    std::function<BOOL(SOCKET, SOCKET, void*, DWORD, DWORD, DWORD, DWORD*, OVERLAPPED*)> AcceptEx;
    std::function<SOCKET(SOCKET, sockaddr*, int*, LPCONDITIONPROC, DWORD_PTR)> WSAAccept;
    std::function<int(SOCKET, WSABUF*, DWORD, DWORD*, DWORD, WSAOVERLAPPED*,
                      LPWSAOVERLAPPED_COMPLETION_ROUTINE)>
        WSASend;
    std::function<int(SOCKET, WSABUF*, DWORD, DWORD*, DWORD*, WSAOVERLAPPED*,
                      LPWSAOVERLAPPED_COMPLETION_ROUTINE)>
        WSARecv;
    std::function<int(SOCKET, const sockaddr*, int, WSABUF*, WSABUF*, QOS*, QOS*)> WSAConnect;
    std::function<int(SOCKET, int)> shutdown;
    std::function<int(SOCKET, fd_set*)> __WSAFDIsSet;
    std::function<int(const sockaddr*, int, wchar_t*, DWORD, wchar_t*, DWORD, int)> GetNameInfoW;
    // SecuritySupport.h
    std::function<SECURITY_STATUS(ULONG*, SecPkgInfoW**)> EnumerateSecurityPackagesW;
    std::function<SECURITY_STATUS(wchar_t*, wchar_t*, ULONG, void*, void*, SEC_GET_KEY_FN, void*,
                                  CredHandle*, TimeStamp*)>
        AcquireCredentialsHandleW;
    std::function<SECURITY_STATUS(CredHandle*)> FreeCredentialsHandle;
    std::function<SECURITY_STATUS(CredHandle*, CtxtHandle*, wchar_t*, ULONG, ULONG, ULONG,
                                  SecBufferDesc*, ULONG, CtxtHandle*, SecBufferDesc*, ULONG*,
                                  TimeStamp*)>
        InitializeSecurityContextW;
    std::function<SECURITY_STATUS(CredHandle*, CtxtHandle*, SecBufferDesc*, ULONG, ULONG,
                                  CtxtHandle*, SecBufferDesc*, ULONG*, TimeStamp*)>
        AcceptSecurityContext;
    std::function<SECURITY_STATUS(CtxtHandle*, ULONG, void*)> QueryContextAttributesW;
    std::function<SECURITY_STATUS(CtxtHandle*, ULONG, SecBufferDesc*, ULONG)> EncryptMessage;
    std::function<SECURITY_STATUS(CtxtHandle*, SecBufferDesc*, ULONG, ULONG*)> DecryptMessage;
    std::function<SECURITY_STATUS(CtxtHandle*)> DeleteSecurityContext;
    std::function<SECURITY_STATUS(void*)> FreeContextBuffer;
    // CryptoApi.h
    std::function<HCERTSTORE(const char*, DWORD, HCRYPTPROV_LEGACY, DWORD, const void*)>
        CertOpenStore;
    std::function<BOOL(HCERTSTORE, DWORD)> CertCloseStore;
    std::function<PCCERT_CONTEXT(HCERTSTORE, DWORD, DWORD, DWORD, const void*, PCCERT_CONTEXT)>
        CertFindCertificateInStore;
    std::function<PCCERT_CONTEXT(HCERTSTORE, PCCERT_CONTEXT)> CertEnumCertificatesInStore;
    std::function<PCCERT_CONTEXT(PCCERT_CONTEXT)> CertDuplicateCertificateContext;
    std::function<BOOL(PCCERT_CONTEXT)> CertFreeCertificateContext;
    std::function<BOOL(DWORD, CERT_INFO*, CERT_INFO*)> CertCompareCertificate;
    std::function<BOOL(HCERTCHAINENGINE, PCCERT_CONTEXT, FILETIME*, HCERTSTORE, CERT_CHAIN_PARA*,
                       DWORD, void*, PCCERT_CHAIN_CONTEXT*)>
        CertGetCertificateChain;
    std::function<BOOL(const char*, PCCERT_CHAIN_CONTEXT, CERT_CHAIN_POLICY_PARA*,
                       CERT_CHAIN_POLICY_STATUS*)>
        CertVerifyCertificateChainPolicy;
    std::function<void(PCCERT_CHAIN_CONTEXT)> CertFreeCertificateChain;
    std::function<DWORD(PCCERT_CONTEXT, DWORD, DWORD, void*, wchar_t*, DWORD)> CertGetNameStringW;
    std::function<PCCERT_CONTEXT(HCERTSTORE, HWND, const wchar_t*, const wchar_t*, DWORD, DWORD,
                                 void*)>
        CryptUIDlgSelectCertificateFromStore;
    // WindowsBase.h
    std::function<int(UINT, DWORD, const char*, int, wchar_t*, int)> MultiByteToWideChar;
    std::function<int(UINT, DWORD, const wchar_t*, int, char*, int, const char*, BOOL*)>
        WideCharToMultiByte;
    // The last argument is a va_list*, which not every compiler accepts in a template.
    std::function<DWORD(DWORD, const void*, DWORD, DWORD, wchar_t*, DWORD, void*)> FormatMessageW;
    std::function<HLOCAL(HLOCAL)> LocalFree;
    std::function<DWORD(HMODULE, wchar_t*, DWORD)> GetModuleFileNameW;
    std::function<BOOL(COMPUTER_NAME_FORMAT, wchar_t*, DWORD*)> GetComputerNameExW;
    std::function<BOOL(wchar_t*, DWORD*)> GetUserNameW;
    std::function<BOOL(HMODULE)> DisableThreadLibraryCalls;
    std::function<DWORD(HMODULE, char*, DWORD)> GetModuleFileNameA;
    std::function<HMODULE(const char*)> LoadLibraryA;
    std::function<FARPROC(HMODULE, const char*)> GetProcAddress;
    std::function<DWORD(const char*, DWORD*)> GetFileVersionInfoSizeA;
    std::function<BOOL(const char*, DWORD, DWORD, void*)> GetFileVersionInfoA;
    std::function<BOOL(const void*, const char*, void**, UINT*)> VerQueryValueA;
    std::function<void()> DebugBreak;
};

} // namespace VexaSsl::test
