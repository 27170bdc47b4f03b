// The SSPI and Schannel types and constants of src/platform/contract/SecuritySupport.h (sspi.h,
// schannel.h, winerror.h).
#pragma once

#include "CryptoShapes.h" // IWYU pragma: export
#include <cstddef>
#include <cstdint>

namespace VexaSsl {

using SECURITY_STATUS = LONG;
using TimeStamp = std::int64_t;
using SEC_GET_KEY_FN = void (*)(void* argument, void* principal, ULONG version, void** key,
                                SECURITY_STATUS* status);

struct SecHandle {
    ULONG_PTR dwLower = 0;
    ULONG_PTR dwUpper = 0;
};
using CredHandle = SecHandle;
using CtxtHandle = SecHandle;

struct SecPkgInfoW {
    ULONG fCapabilities = 0;
    WORD wVersion = 0;
    WORD wRPCID = 0;
    ULONG cbMaxToken = 0;
    wchar_t* Name = nullptr;
    wchar_t* Comment = nullptr;
};

struct SecBuffer {
    ULONG cbBuffer = 0; // bytes
    ULONG BufferType = 0;
    void* pvBuffer = nullptr;
};

struct SecBufferDesc {
    ULONG ulVersion = 0;
    ULONG cBuffers = 0;
    SecBuffer* pBuffers = nullptr;
};

inline constexpr ULONG SECBUFFER_VERSION = 0;
inline constexpr ULONG SECBUFFER_EMPTY = 0;
inline constexpr ULONG SECBUFFER_DATA = 1;
inline constexpr ULONG SECBUFFER_TOKEN = 2;
inline constexpr ULONG SECBUFFER_MISSING = 4;
inline constexpr ULONG SECBUFFER_EXTRA = 5;
inline constexpr ULONG SECBUFFER_STREAM_TRAILER = 6;
inline constexpr ULONG SECBUFFER_STREAM_HEADER = 7;
inline constexpr ULONG SECBUFFER_ALERT = 17;

struct SCHANNEL_CRED {
    DWORD dwVersion = 0;
    DWORD cCreds = 0;
    PCCERT_CONTEXT* paCred = nullptr;
    HCERTSTORE hRootStore = nullptr;
    DWORD cMappers = 0;
    void** aphMappers = nullptr;
    DWORD cSupportedAlgs = 0;
    DWORD* palgSupportedAlgs = nullptr;
    DWORD grbitEnabledProtocols = 0;
    DWORD dwMinimumCipherStrength = 0;
    DWORD dwMaximumCipherStrength = 0;
    DWORD dwSessionLifespan = 0;
    DWORD dwFlags = 0;
    DWORD dwCredFormat = 0;
};
inline constexpr DWORD SCHANNEL_CRED_VERSION = 4;
inline constexpr DWORD SCH_CRED_MANUAL_CRED_VALIDATION = 0x8;
inline constexpr DWORD SCH_CRED_NO_DEFAULT_CREDS = 0x10;

struct SecPkgContext_StreamSizes {
    ULONG cbHeader = 0;
    ULONG cbTrailer = 0;
    ULONG cbMaximumMessage = 0;
    ULONG cBuffers = 0;
    ULONG cbBlockSize = 0;
};

inline constexpr std::size_t SZ_ALG_MAX_SIZE = 64;
struct SecPkgContext_CipherInfo {
    DWORD dwVersion = 0;
    DWORD dwProtocol = 0;
    DWORD dwCipherSuite = 0;
    DWORD dwBaseCipherSuite = 0;
    wchar_t szCipherSuite[SZ_ALG_MAX_SIZE] = {};
    wchar_t szCipher[SZ_ALG_MAX_SIZE] = {};
    DWORD dwCipherLen = 0;
    DWORD dwCipherBlockLen = 0;
    wchar_t szHash[SZ_ALG_MAX_SIZE] = {};
    DWORD dwHashLen = 0;
    wchar_t szExchange[SZ_ALG_MAX_SIZE] = {};
    DWORD dwMinExchangeLen = 0;
    DWORD dwMaxExchangeLen = 0;
    wchar_t szCertificate[SZ_ALG_MAX_SIZE] = {};
    DWORD dwKeyType = 0;
};
inline constexpr DWORD SECPKGCONTEXT_CIPHERINFO_V1 = 1;

struct SecPkgContext_ConnectionInfo {
    DWORD dwProtocol = 0;
    DWORD aiCipher = 0;
    DWORD dwCipherStrength = 0; // bits
    DWORD aiHash = 0;
    DWORD dwHashStrength = 0;
    DWORD aiExch = 0;
    DWORD dwExchStrength = 0;
};
inline constexpr DWORD SP_PROT_SSL3_SERVER = 0x10;
inline constexpr DWORD SP_PROT_SSL3_CLIENT = 0x20;
inline constexpr DWORD SP_PROT_TLS1_SERVER = 0x40;
inline constexpr DWORD SP_PROT_TLS1_CLIENT = 0x80;
inline constexpr DWORD SP_PROT_TLS1_1_SERVER = 0x100;
inline constexpr DWORD SP_PROT_TLS1_1_CLIENT = 0x200;
inline constexpr DWORD SP_PROT_TLS1_2_SERVER = 0x400;
inline constexpr DWORD SP_PROT_TLS1_2_CLIENT = 0x800;
inline constexpr DWORD SP_PROT_TLS1_3_SERVER = 0x1000;
inline constexpr DWORD SP_PROT_TLS1_3_CLIENT = 0x2000;

inline constexpr ULONG SECPKG_CRED_INBOUND = 1;
inline constexpr ULONG SECPKG_CRED_OUTBOUND = 2;
inline constexpr ULONG SECPKG_ATTR_STREAM_SIZES = 4;
inline constexpr ULONG SECPKG_ATTR_REMOTE_CERT_CONTEXT = 0x53;
inline constexpr ULONG SECPKG_ATTR_LOCAL_CERT_CONTEXT = 0x54;
inline constexpr ULONG SECPKG_ATTR_CONNECTION_INFO = 0x5A;
inline constexpr ULONG SECPKG_ATTR_CIPHER_INFO = 0x64;
inline constexpr ULONG SECURITY_NETWORK_DREP = 0;

inline constexpr ULONG ISC_REQ_REPLAY_DETECT = 0x00000004;
inline constexpr ULONG ISC_REQ_CONFIDENTIALITY = 0x00000010;
inline constexpr ULONG ISC_REQ_USE_SUPPLIED_CREDS = 0x00000080;
inline constexpr ULONG ISC_REQ_ALLOCATE_MEMORY = 0x00000100;
inline constexpr ULONG ISC_REQ_EXTENDED_ERROR = 0x00004000;
inline constexpr ULONG ISC_REQ_STREAM = 0x00008000;
inline constexpr ULONG ISC_RET_REPLAY_DETECT = 0x00000004;
inline constexpr ULONG ISC_RET_CONFIDENTIALITY = 0x00000010;
inline constexpr ULONG ISC_RET_ALLOCATED_MEMORY = 0x00000100;
inline constexpr ULONG ISC_RET_STREAM = 0x00008000;

inline constexpr ULONG ASC_REQ_MUTUAL_AUTH = 0x00000002;
inline constexpr ULONG ASC_REQ_REPLAY_DETECT = 0x00000004;
inline constexpr ULONG ASC_REQ_CONFIDENTIALITY = 0x00000010;
inline constexpr ULONG ASC_REQ_ALLOCATE_MEMORY = 0x00000100;
inline constexpr ULONG ASC_REQ_EXTENDED_ERROR = 0x00008000;
inline constexpr ULONG ASC_REQ_STREAM = 0x00010000;
inline constexpr ULONG ASC_RET_MUTUAL_AUTH = 0x00000002;
inline constexpr ULONG ASC_RET_REPLAY_DETECT = 0x00000004;
inline constexpr ULONG ASC_RET_CONFIDENTIALITY = 0x00000010;
inline constexpr ULONG ASC_RET_ALLOCATED_MEMORY = 0x00000100;
inline constexpr ULONG ASC_RET_STREAM = 0x00010000;

inline constexpr SECURITY_STATUS SEC_E_OK = 0;
inline constexpr SECURITY_STATUS SEC_I_CONTINUE_NEEDED = 0x00090312;
inline constexpr SECURITY_STATUS SEC_I_CONTEXT_EXPIRED = 0x00090317;
inline constexpr SECURITY_STATUS SEC_I_INCOMPLETE_CREDENTIALS = 0x00090320;
inline constexpr SECURITY_STATUS SEC_I_RENEGOTIATE = 0x00090321;
inline constexpr SECURITY_STATUS SEC_E_INSUFFICIENT_MEMORY = static_cast<LONG>(0x80090300);
inline constexpr SECURITY_STATUS SEC_E_INVALID_HANDLE = static_cast<LONG>(0x80090301);
inline constexpr SECURITY_STATUS SEC_E_UNSUPPORTED_FUNCTION = static_cast<LONG>(0x80090302);
inline constexpr SECURITY_STATUS SEC_E_INTERNAL_ERROR = static_cast<LONG>(0x80090304);
inline constexpr SECURITY_STATUS SEC_E_SECPKG_NOT_FOUND = static_cast<LONG>(0x80090305);
inline constexpr SECURITY_STATUS SEC_E_INVALID_TOKEN = static_cast<LONG>(0x80090308);
inline constexpr SECURITY_STATUS SEC_E_LOGON_DENIED = static_cast<LONG>(0x8009030C);
inline constexpr SECURITY_STATUS SEC_E_UNKNOWN_CREDENTIALS = static_cast<LONG>(0x8009030D);
inline constexpr SECURITY_STATUS SEC_E_NO_CREDENTIALS = static_cast<LONG>(0x8009030E);
inline constexpr SECURITY_STATUS SEC_E_MESSAGE_ALTERED = static_cast<LONG>(0x8009030F);
inline constexpr SECURITY_STATUS SEC_E_OUT_OF_SEQUENCE = static_cast<LONG>(0x80090310);
inline constexpr SECURITY_STATUS SEC_E_CONTEXT_EXPIRED = static_cast<LONG>(0x80090317);
inline constexpr SECURITY_STATUS SEC_E_INCOMPLETE_MESSAGE = static_cast<LONG>(0x80090318);
inline constexpr SECURITY_STATUS SEC_E_INCOMPLETE_CREDENTIALS = static_cast<LONG>(0x80090320);
inline constexpr SECURITY_STATUS SEC_E_BUFFER_TOO_SMALL = static_cast<LONG>(0x80090321);
inline constexpr SECURITY_STATUS SEC_E_WRONG_PRINCIPAL = static_cast<LONG>(0x80090322);
inline constexpr SECURITY_STATUS SEC_E_UNTRUSTED_ROOT = static_cast<LONG>(0x80090325);
inline constexpr SECURITY_STATUS SEC_E_ILLEGAL_MESSAGE = static_cast<LONG>(0x80090326);
inline constexpr SECURITY_STATUS SEC_E_CERT_UNKNOWN = static_cast<LONG>(0x80090327);
inline constexpr SECURITY_STATUS SEC_E_CERT_EXPIRED = static_cast<LONG>(0x80090328);
inline constexpr SECURITY_STATUS SEC_E_ENCRYPT_FAILURE = static_cast<LONG>(0x80090329);
inline constexpr SECURITY_STATUS SEC_E_DECRYPT_FAILURE = static_cast<LONG>(0x80090330);
inline constexpr SECURITY_STATUS SEC_E_ALGORITHM_MISMATCH = static_cast<LONG>(0x80090331);
inline constexpr SECURITY_STATUS SEC_E_CERT_WRONG_USAGE = static_cast<LONG>(0x80090349);

} // namespace VexaSsl
