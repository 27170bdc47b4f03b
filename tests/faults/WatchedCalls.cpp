// The functions that the core's calls of the platform lead to in this program. Each tells the Watch
// of the thread and goes on to the real one, unless it is to fail.
#include "faults/Watch.h"

#include "platform/CryptoApi.h"
#include "platform/SecuritySupport.h"
#include "platform/TextFiles.h"
#include "platform/WindowsBase.h"
#include "platform/Winsock.h"

#include <type_traits>

namespace VexaSsl::watched {

namespace {

using test::Call;
using test::Detail;
using test::Failure;
using test::Held;
using test::Watch;

template <typename Result>
std::int64_t asNumber(Result result) {
    if constexpr (std::is_pointer_v<Result>) {
        return static_cast<std::int64_t>(reinterpret_cast<std::intptr_t>(result));
    } else {
        return static_cast<std::int64_t>(result);
    }
}

template <typename Result>
Result asResult(std::int64_t number) {
    if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(static_cast<std::intptr_t>(number));
    } else {
        return static_cast<Result>(number);
    }
}

// The real call, with what it gave noted down. What it calls and allocates itself is the
// platform's.
template <typename Real>
auto pass(Watch& watch, Real real) {
    const std::size_t position = watch.calls.size() - 1;
    watch.inPlatform = true;
    try {
        const auto result = real();
        watch.inPlatform = false;
        watch.leave(position, asNumber(result), false);
        return result;
    } catch (...) {
        watch.inPlatform = false;
        watch.leave(position, 0, true);
        throw;
    }
}

template <typename Real>
auto fail(Watch& watch, const Failure& failure, Real real) -> decltype(real()) {
    if (failure.afterwards) {
        real();
    }
    if (failure.error != 0) {
        platform::WSASetLastError(static_cast<int>(failure.error));
    }
    watch.leave(watch.calls.size() - 1, failure.result, false);
    return asResult<decltype(real())>(failure.result);
}

// instead: what stands in for the real call where a failure has more to it than its result.
template <typename Real, typename Instead>
auto watched(Call call, Detail detail, Real real, Instead instead) -> decltype(real()) {
    Watch* const watch = Watch::ofThisThread();
    if (watch == nullptr) {
        return real();
    }
    const Failure* const failure = watch->meet(call, detail);
    if (failure == nullptr) {
        return pass(*watch, real);
    }
    instead(*failure);
    return fail(*watch, *failure, real);
}

template <typename Real>
auto watched(Call call, Detail detail, Real real) -> decltype(real()) {
    return watched(call, detail, real, [](const Failure&) {});
}

template <typename Real>
auto watched(Call call, Real real) -> decltype(real()) {
    return watched(call, Detail::none, real);
}

void hold(Held what, int change) {
    if (Watch* const watch = Watch::ofThisThread()) {
        watch->hold(what, change);
    }
}

// A result that the core has to give back, unless it is null or 0.
template <typename Result>
Result held(Held what, Result result) {
    hold(what, result ? 1 : 0);
    return result;
}

bool isEmpty(const SecHandle* handle) {
    return handle == nullptr || (handle->dwLower == 0 && handle->dwUpper == 0);
}

bool bringsToken(const SecBufferDesc* output) {
    return output != nullptr && output->cBuffers > 0 && output->pBuffers[0].pvBuffer != nullptr;
}

// One step of either side's handshake: the first one makes the context, each may make a token.
template <typename Real>
SECURITY_STATUS handshakeStep(Call call, const CtxtHandle* context, const CtxtHandle* created,
                              const SecBufferDesc* output, Real real) {
    const bool isFirst = isEmpty(context);
    const bool wasEmpty = isEmpty(created);
    const SECURITY_STATUS status = watched(call, isFirst ? Detail::first : Detail::further, real);
    hold(Held::context, wasEmpty && !isEmpty(created) ? 1 : 0);
    hold(Held::packageMemory, bringsToken(output) ? 1 : 0);
    return status;
}

} // namespace

// --- Sockets.

int send(SOCKET s, const char* buf, int len, int flags) {
    return watched(Call::send, [&] { return platform::send(s, buf, len, flags); });
}

int recv(SOCKET s, char* buf, int len, int flags) {
    return watched(Call::recv, [&] { return platform::recv(s, buf, len, flags); });
}

int connect(SOCKET s, const sockaddr* name, int namelen) {
    return watched(Call::connect, [&] { return platform::connect(s, name, namelen); });
}

SOCKET accept(SOCKET s, sockaddr* addr, int* addrlen) {
    const SOCKET accepted =
        watched(Call::accept, [&] { return platform::accept(s, addr, addrlen); });
    if (Watch* const watch = Watch::ofThisThread()) {
        watch->accepted = accepted;
    }
    return accepted;
}

int select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, const timeval* timeout) {
    return watched(Call::select,
                   [&] { return platform::select(nfds, readfds, writefds, exceptfds, timeout); });
}

int getaddrinfo(const char* nodename, const char* servname, const addrinfo* hints, addrinfo** res) {
    return watched(Call::getaddrinfo,
                   [&] { return platform::getaddrinfo(nodename, servname, hints, res); });
}

int GetAddrInfoW(const wchar_t* nodename, const wchar_t* servicename, const ADDRINFOW* hints,
                 ADDRINFOW** result) {
    return watched(Call::GetAddrInfoW,
                   [&] { return platform::GetAddrInfoW(nodename, servicename, hints, result); });
}

BOOL AcceptEx(SOCKET listenSocket, SOCKET acceptSocket, void* outputBuffer, DWORD receiveDataLength,
              DWORD localAddressLength, DWORD remoteAddressLength, DWORD* bytesReceived,
              OVERLAPPED* overlapped) {
    return watched(Call::AcceptEx, [&] {
        return platform::AcceptEx(listenSocket, acceptSocket, outputBuffer, receiveDataLength,
                                  localAddressLength, remoteAddressLength, bytesReceived,
                                  overlapped);
    });
}

SOCKET WSAAccept(SOCKET s, sockaddr* addr, int* addrlen, LPCONDITIONPROC condition,
                 DWORD_PTR callbackData) {
    const SOCKET accepted = watched(Call::WSAAccept, [&] {
        return platform::WSAAccept(s, addr, addrlen, condition, callbackData);
    });
    if (Watch* const watch = Watch::ofThisThread()) {
        watch->accepted = accepted;
    }
    return accepted;
}

int WSASend(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesSent, DWORD flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return watched(Call::WSASend, [&] {
        return platform::WSASend(s, buffers, bufferCount, bytesSent, flags, overlapped,
                                 completionRoutine);
    });
}

int WSARecv(SOCKET s, WSABUF* buffers, DWORD bufferCount, DWORD* bytesReceived, DWORD* flags,
            WSAOVERLAPPED* overlapped, LPWSAOVERLAPPED_COMPLETION_ROUTINE completionRoutine) {
    return watched(Call::WSARecv, [&] {
        return platform::WSARecv(s, buffers, bufferCount, bytesReceived, flags, overlapped,
                                 completionRoutine);
    });
}

int WSAConnect(SOCKET s, const sockaddr* name, int namelen, WSABUF* callerData, WSABUF* calleeData,
               QOS* sqos, QOS* gqos) {
    return watched(Call::WSAConnect, [&] {
        return platform::WSAConnect(s, name, namelen, callerData, calleeData, sqos, gqos);
    });
}

// Told to have failed, it has shut the socket down all the same, so that the peer learns the end.
int shutdown(SOCKET s, int how) {
    return watched(Call::shutdown, [&] { return platform::shutdown(s, how); });
}

int GetNameInfoW(const sockaddr* address, int addressLength, wchar_t* node, DWORD nodeLength,
                 wchar_t* service, DWORD serviceLength, int flags) {
    return watched(Call::GetNameInfoW, [&] {
        return platform::GetNameInfoW(address, addressLength, node, nodeLength, service,
                                      serviceLength, flags);
    });
}

int __WSAFDIsSet(SOCKET s, fd_set* set) {
    return platform::__WSAFDIsSet(s, set);
}

void WSASetLastError(int error) {
    platform::WSASetLastError(error);
}

int WSAGetLastError() {
    return platform::WSAGetLastError();
}

// --- The security package.

SECURITY_STATUS EnumerateSecurityPackagesW(ULONG* count, SecPkgInfoW** packages) {
    const SECURITY_STATUS status = watched(Call::EnumerateSecurityPackagesW, [&] {
        return platform::EnumerateSecurityPackagesW(count, packages);
    });
    hold(Held::packageMemory, status == SEC_E_OK ? 1 : 0);
    return status;
}

SECURITY_STATUS AcquireCredentialsHandleW(wchar_t* principal, wchar_t* package, ULONG use,
                                          void* logonId, void* authData, SEC_GET_KEY_FN keyFunction,
                                          void* keyArgument, CredHandle* credential,
                                          TimeStamp* expiry) {
    const SECURITY_STATUS status = watched(Call::AcquireCredentialsHandleW, [&] {
        return platform::AcquireCredentialsHandleW(principal, package, use, logonId, authData,
                                                   keyFunction, keyArgument, credential, expiry);
    });
    hold(Held::credential, status == SEC_E_OK ? 1 : 0);
    return status;
}

SECURITY_STATUS FreeCredentialsHandle(CredHandle* credential) {
    hold(Held::credential, -1);
    return platform::FreeCredentialsHandle(credential);
}

SECURITY_STATUS InitializeSecurityContextW(CredHandle* credential, CtxtHandle* context,
                                           wchar_t* targetName, ULONG requirements, ULONG reserved1,
                                           ULONG dataRepresentation, SecBufferDesc* input,
                                           ULONG reserved2, CtxtHandle* newContext,
                                           SecBufferDesc* output, ULONG* attributes,
                                           TimeStamp* expiry) {
    return handshakeStep(Call::InitializeSecurityContextW, context, newContext, output, [&] {
        return platform::InitializeSecurityContextW(credential, context, targetName, requirements,
                                                    reserved1, dataRepresentation, input, reserved2,
                                                    newContext, output, attributes, expiry);
    });
}

SECURITY_STATUS AcceptSecurityContext(CredHandle* credential, CtxtHandle* context,
                                      SecBufferDesc* input, ULONG requirements,
                                      ULONG dataRepresentation, CtxtHandle* newContext,
                                      SecBufferDesc* output, ULONG* attributes, TimeStamp* expiry) {
    return handshakeStep(Call::AcceptSecurityContext, context, newContext, output, [&] {
        return platform::AcceptSecurityContext(credential, context, input, requirements,
                                               dataRepresentation, newContext, output, attributes,
                                               expiry);
    });
}

SECURITY_STATUS QueryContextAttributesW(CtxtHandle* context, ULONG attribute, void* buffer) {
    const bool ofPeer = attribute == SECPKG_ATTR_REMOTE_CERT_CONTEXT;
    const SECURITY_STATUS status =
        watched(Call::QueryContextAttributesW, ofPeer ? Detail::peer : Detail::sizes,
                [&] { return platform::QueryContextAttributesW(context, attribute, buffer); });
    hold(Held::certificate, ofPeer && *static_cast<PCCERT_CONTEXT*>(buffer) != nullptr ? 1 : 0);
    return status;
}

SECURITY_STATUS EncryptMessage(CtxtHandle* context, ULONG qualityOfProtection,
                               SecBufferDesc* message, ULONG sequence) {
    return watched(Call::EncryptMessage, [&] {
        return platform::EncryptMessage(context, qualityOfProtection, message, sequence);
    });
}

SECURITY_STATUS DecryptMessage(CtxtHandle* context, SecBufferDesc* message, ULONG sequence,
                               ULONG* qualityOfProtection) {
    return watched(Call::DecryptMessage, [&] {
        return platform::DecryptMessage(context, message, sequence, qualityOfProtection);
    });
}

SECURITY_STATUS DeleteSecurityContext(CtxtHandle* context) {
    hold(Held::context, -1);
    return platform::DeleteSecurityContext(context);
}

SECURITY_STATUS FreeContextBuffer(void* buffer) {
    hold(Held::packageMemory, buffer != nullptr ? -1 : 0);
    return platform::FreeContextBuffer(buffer);
}

// --- Certificates.

HCERTSTORE CertOpenStore(const char* provider, DWORD encoding, HCRYPTPROV_LEGACY cryptoProvider,
                         DWORD flags, const void* parameter) {
    return held(Held::store, watched(Call::CertOpenStore, [&] {
                    return platform::CertOpenStore(provider, encoding, cryptoProvider, flags,
                                                   parameter);
                }));
}

BOOL CertCloseStore(HCERTSTORE store, DWORD flags) {
    hold(Held::store, -1);
    return watched(Call::CertCloseStore, [&] { return platform::CertCloseStore(store, flags); });
}

// previous is released by the call, also when it finds nothing.
PCCERT_CONTEXT CertFindCertificateInStore(HCERTSTORE store, DWORD encoding, DWORD findFlags,
                                          DWORD findType, const void* parameter,
                                          PCCERT_CONTEXT previous) {
    hold(Held::certificate, previous != nullptr ? -1 : 0);
    const Detail start = findType == CERT_FIND_SUBJECT_STR_W ? Detail::byName : Detail::byUsage;
    const PCCERT_CONTEXT found = watched(
        Call::CertFindCertificateInStore, previous == nullptr ? start : Detail::further,
        [&] {
            return platform::CertFindCertificateInStore(store, encoding, findFlags, findType,
                                                        parameter, previous);
        },
        [&](const Failure&) { platform::CertFreeCertificateContext(previous); });
    return held(Held::certificate, found);
}

PCCERT_CONTEXT CertEnumCertificatesInStore(HCERTSTORE store, PCCERT_CONTEXT previous) {
    hold(Held::certificate, previous != nullptr ? -1 : 0);
    return held(Held::certificate, platform::CertEnumCertificatesInStore(store, previous));
}

PCCERT_CONTEXT CertDuplicateCertificateContext(PCCERT_CONTEXT certificate) {
    return held(Held::certificate, platform::CertDuplicateCertificateContext(certificate));
}

BOOL CertFreeCertificateContext(PCCERT_CONTEXT certificate) {
    hold(Held::certificate, certificate != nullptr ? -1 : 0);
    return platform::CertFreeCertificateContext(certificate);
}

BOOL CertCompareCertificate(DWORD encoding, CERT_INFO* left, CERT_INFO* right) {
    return watched(Call::CertCompareCertificate,
                   [&] { return platform::CertCompareCertificate(encoding, left, right); });
}

BOOL CertGetCertificateChain(HCERTCHAINENGINE engine, PCCERT_CONTEXT certificate, FILETIME* time,
                             HCERTSTORE additionalStore, CERT_CHAIN_PARA* parameters, DWORD flags,
                             void* reserved, PCCERT_CHAIN_CONTEXT* chain) {
    return held(Held::chain, watched(Call::CertGetCertificateChain, [&] {
                    return platform::CertGetCertificateChain(engine, certificate, time,
                                                             additionalStore, parameters, flags,
                                                             reserved, chain);
                }));
}

BOOL CertVerifyCertificateChainPolicy(const char* policy, PCCERT_CHAIN_CONTEXT chain,
                                      CERT_CHAIN_POLICY_PARA* parameters,
                                      CERT_CHAIN_POLICY_STATUS* status) {
    return watched(
        Call::CertVerifyCertificateChainPolicy, Detail::none,
        [&] {
            return platform::CertVerifyCertificateChainPolicy(policy, chain, parameters, status);
        },
        [&](const Failure& failure) {
            status->dwError = failure.verdict;
            status->lChainIndex = failure.chainIndex;
            status->lElementIndex = failure.elementIndex;
        });
}

void CertFreeCertificateChain(PCCERT_CHAIN_CONTEXT chain) {
    hold(Held::chain, chain != nullptr ? -1 : 0);
    platform::CertFreeCertificateChain(chain);
}

DWORD CertGetNameStringW(PCCERT_CONTEXT certificate, DWORD type, DWORD flags, void* typeParameter,
                         wchar_t* buffer, DWORD size) {
    return watched(Call::CertGetNameStringW, buffer == nullptr ? Detail::sizing : Detail::filling,
                   [&] {
                       return platform::CertGetNameStringW(certificate, type, flags, typeParameter,
                                                           buffer, size);
                   });
}

PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND parent,
                                                    const wchar_t* title, const wchar_t* display,
                                                    DWORD dontUseColumn, DWORD flags,
                                                    void* reserved) {
    return held(Held::certificate,
                platform::CryptUIDlgSelectCertificateFromStore(store, parent, title, display,
                                                               dontUseColumn, flags, reserved));
}

// --- The system's base.

int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* buffer,
                        int capacity) {
    return watched(Call::MultiByteToWideChar, [&] {
        return platform::MultiByteToWideChar(codePage, flags, text, length, buffer, capacity);
    });
}

int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* buffer,
                        int capacity, const char* defaultCharacter, BOOL* usedDefaultCharacter) {
    return platform::WideCharToMultiByte(codePage, flags, text, length, buffer, capacity,
                                         defaultCharacter, usedDefaultCharacter);
}

// buffer is the address of a pointer, as it always is in the core.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, va_list* arguments) {
    const DWORD length = watched(Call::FormatMessageW, [&] {
        return platform::FormatMessageW(flags, source, code, language, buffer, size, arguments);
    });
    hold(Held::text, length != 0 ? 1 : 0);
    return length;
}

HLOCAL LocalFree(HLOCAL memory) {
    hold(Held::text, memory != nullptr ? -1 : 0);
    return platform::LocalFree(memory);
}

DWORD GetLastError() {
    return platform::GetLastError();
}

BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size) {
    return watched(Call::GetComputerNameExW, buffer == nullptr ? Detail::sizing : Detail::filling,
                   [&] { return platform::GetComputerNameExW(format, buffer, size); });
}

BOOL GetUserNameW(wchar_t* buffer, DWORD* size) {
    return watched(Call::GetUserNameW, [&] { return platform::GetUserNameW(buffer, size); });
}

// Counted and never stopped at.
void DebugBreak() {
    if (Watch* const watch = Watch::ofThisThread()) {
        ++watch->breakpoints;
    }
}

// --- Text files.

void openTextFile(std::wifstream& stream, const std::filesystem::path& path) {
    const int opened = watched(Call::openTextFile, [&] {
        platform::openTextFile(stream, path);
        return 1;
    });
    if (opened == 0) {
        stream.setstate(std::ios_base::failbit);
    }
}

bool getTextLine(std::wistream& stream, std::wstring& line) {
    return platform::getTextLine(stream, line);
}

std::filesystem::path pathFromFileText(const std::wstring& text) {
    return platform::pathFromFileText(text);
}

std::wstring pathToText(const std::filesystem::path& path) {
    return platform::pathToText(path);
}

} // namespace VexaSsl::watched
