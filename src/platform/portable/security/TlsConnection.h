// What stands behind a CtxtHandle: one TLS connection, OpenSSL's object for it and the wire that
// the object reads from and writes to.
//
// One thread may protect and another open records at the same time, and an SSL object bears only
// one at once: every call holds guarding for as long as it works on the members. No call waits for
// anything inside.
#pragma once

#include "security/Credentials.h"
#include "security/MemoryBio.h"

#include <mutex>

namespace VexaSsl::portable {

using SslPointer = std::unique_ptr<SSL, Release<SSL_free>>;

enum class Stage {
    negotiating,
    established,
    closed, // the peer has sent its closure; protecting still works
    failed, // for good; failure tells why
};

// What the negotiated cipher suite makes of a record.
struct RecordShape {
    std::size_t headerSize = 0; // the record header and an explicit nonce
    std::size_t trailerSize = 0;
    std::size_t maximumMessage = 0;
};

struct TlsConnection {
    // A connection that hasn't begun. Throws std::bad_alloc.
    explicit TlsConnection(const Credentials& credentials);

    // Marks the connection as failed. Result: the status, which every later call gives again.
    SECURITY_STATUS fail(SECURITY_STATUS status) noexcept;

    std::mutex guarding;
    const Role role;
    Stage stage = Stage::negotiating;
    SECURITY_STATUS failure = SEC_E_OK;
    RecordShape shape; // once established

    // A client that was asked for a certificate it doesn't have stops there until the caller says
    // that it may go on without. consumedBefore counts the bytes of the repeated token that are
    // consumed already.
    bool mayGoWithoutCertificate = false;
    bool askedForCertificate = false;
    std::size_t consumedBefore = 0;

    Wire wire; // outlives ssl
    SslPointer ssl;
};

} // namespace VexaSsl::portable
