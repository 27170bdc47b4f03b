// What a host can ask a connection: how it is secured and by whose certificate, why the last
// attempt to establish it failed, and how much can be received without the network. Every strategy
// that instantiateSocketStrategy returns implements this interface, log layers included:
//
//     auto* info = dynamic_cast<VexaSsl::IConnectionInfo*>(strategy.get());
//
// Threads: heldBytes is a receiver's operation (see VexaSsl/ISocketStrategy.h); the others must run
// alone. Ask connectionInfo once after the handshake and keep the result: after a record that can't
// be decrypted the system may not report it any more.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace VexaSsl {

// How a connection is secured. All empty in the clear, before a handshake and after a failed one.
// Names come from the peer: escape them before they are displayed.
struct ConnectionInfo {
    // "TLS 1.2". Not empty after a successful handshake.
    std::wstring protocol;
    // The name in IANA's registry, for example L"TLS_ECDHE_RSA_WITH_AES_256_GCM_SHA384". Empty if
    // the system doesn't report it.
    std::wstring cipherSuite;
    // The peer's certificate, an X.509 certificate in DER. Empty if it sent none: a server asks
    // only with RequireClientAuthentication.
    std::vector<std::uint8_t> peerCertificate;
    // Its subject, for example L"CN=orders.example, O=Example".
    std::wstring peerSubject;
    // Its DNS names, as AcceptableClientCertificateToReceiveNames compares them: the alternative
    // names, then the common names that look like one.
    std::vector<std::wstring> peerNames;
    // Whether it was found to be trusted in the handshake. On Windows a client relies on Schannel's
    // verification. False without a certificate.
    bool peerTrusted = false;
    // The subject of this side's certificate, if the connection has one and the system reports it.
    // A client sends its certificate only if the server asks.
    std::wstring ownSubject;
};

// Why an attempt failed. Later versions don't add to the list.
enum class FailureCause : std::int32_t {
    None = 0, // it has not failed
    // An option has an invalid value.
    Configuration = 1,
    // This side's certificate or its key is missing or can't be used, or the certificate store
    // can't be opened.
    OwnCertificate = 2,
    // The peer's certificate is missing, unsuitable, or of an authority that isn't trusted.
    PeerNotTrusted = 3,
    // The peer's certificate is trusted, but doesn't have the name that was resolved (of a server)
    // or one of the acceptable names (of a client).
    NameMismatch = 4,
    // The peer's certificate has expired or is not yet valid.
    Expired = 5,
    // The peer ended the handshake with a TLS alert, for example because it doesn't trust this
    // side's certificate.
    PeerRefused = 6,
    // No protocol version or cipher suite in common, bytes that are not TLS, or another failure
    // inside the security package. If a server reports a missing cipher suite by a general alert,
    // the client's cause is PeerRefused.
    Protocol = 7,
    // The connection was refused, timed out, or ended before the handshake was complete. A peer
    // that refuses without an alert is one such case. Trying again may help.
    Transport = 8,
    // Out of memory. Trying again may help.
    Memory = 9,
    // The host's mistake: no name resolved, a socket that is invalid or non-blocking, or a log that
    // throws.
    Caller = 10,
};

// Why a connection could not be established.
struct ConnectionFailure {
    // None if the attempt has not failed.
    FailureCause cause = FailureCause::None;
    // What the platform reported; 0 if nothing. With the cause Transport or Caller a Winsock error
    // code as WSAGetLastError returns it; otherwise a SECURITY_STATUS, a result of the chain policy
    // (SEC_E_..., SEC_I_..., CERT_E_... of winerror.h, on every system) or an error code of the
    // system.
    std::int32_t status = 0;
    // One line for a person, with the system's text for the status. Empty without a failure.
    std::wstring text;
};

// Part of a strategy, which owns it.
class IConnectionInfo {
public:
    virtual ~IConnectionInfo() = default;

    // Asks the platform about the connection. Writes no line. Throws std::bad_alloc.
    virtual ConnectionInfo connectionInfo() const = 0;

    // Returns why the latest connect, accept, completeAcceptEx or startOtls failed, or the cause
    // None if it has succeeded; other operations don't change the result. With UseEncryption=False
    // always None: the last error is all that there is. Writes no line, and may replace the last
    // error. Throws std::bad_alloc.
    virtual ConnectionFailure lastFailure() const = 0;

    // Decrypts the whole records that have been received, which may write lines to the log. Returns
    // how many bytes a recv delivers without using the network, 0 in the clear. Returns
    // SOCKET_ERROR if there are none and none will follow: what has been received ends in the
    // peer's TLS closure or can't be decrypted. The next recv, select or completeWSARecv reports
    // that without using the network; afterwards the result is 0.
    //
    // A recv of no more than this many bytes, or of one byte while nothing is held, can't lose data
    // at the end of a stream. A longer one may report the end before the bytes that precede it, or
    // lose them.
    virtual int heldBytes() = 0;
};

} // namespace VexaSsl
