// The local machine's personal certificate store, opened for reading, and the searches in it.
//
// Open from the constructor to the destructor. Nothing is cached: a search is a walk through the
// store by the platform. One object is used by one thread; the log is borrowed and must outlive it.
// The certificates that a search hands out must be released before the store goes.
#pragma once

#include "certificates/CertificateHandle.h"
#include "certificates/CertificateInspector.h"

#include <string>

namespace VexaSsl {

class CertificateStore {
public:
    // Throws std::runtime_error when the store can't be opened; its text is the system's error
    // number and nothing else.
    explicit CertificateStore(ILog& sink);
    // Closes the store; never throws. A certificate that is still held is a Warning line.
    ~CertificateStore();
    CertificateStore(const CertificateStore&) = delete;
    CertificateStore& operator=(const CertificateStore&) = delete;

    // Every certificate with the name anywhere in its subject, whatever its case. Empty when there
    // is none; the log then has an Error and an Info line.
    CertificateHandleList findByName(const std::wstring& name) const;

    // Every certificate meant for server (else client) authentication. Empty when there is none;
    // the log then has an Error and an Info line.
    CertificateHandleList findByEnhancedKeyUsage(bool forServer) const;

    // For administration: writes the names of every certificate and whether its chain is trusted
    // for server and for client authentication into the log, in the store's order. The log is all
    // there is to it; no answer is kept.
    void enumerateCertificates() const;

    // For administration: has the user pick a certificate and waits for the answer. Empty, with a
    // Warning line, when none was picked or nobody could be asked. A connection that is to ask the
    // user does so by itself, in the same way, and fails where this gives an empty result.
    CertificateHandle selectCertificateFromUI() const;

private:
    ILog& log;

public:
    // What the platform knows the store by; all bits set until it is open. Not to be closed.
    HCERTSTORE handle;
    CertificateInspector inspector;

private:
    void close();
    CertificateHandleList findAll(DWORD findType, const void* parameter) const;
    void reportNothingFound(const std::wstring& search, const std::wstring& hint) const;
    void reportEndOfEnumeration() const;
};

} // namespace VexaSsl
