// The personal certificate store of the local machine, opened for reading, and the searches in it.
//
// Open from the constructor to the destructor. Nothing is cached: each search enumerates the store.
// Used by one thread; the log is borrowed and must outlive it. Certificates that a search returns
// must be released before the store is destroyed.
#pragma once

#include "certificates/CertificateHandle.h"
#include "certificates/CertificateInspector.h"

#include <string>
#include <string_view>

namespace VexaSsl {

class CertificateStore {
public:
    // Throws std::runtime_error when the store can't be opened. The text of the exception is the
    // system's error number.
    explicit CertificateStore(ILog& log);
    // Closes the store; never throws. Logs a Warning when a certificate is still held.
    ~CertificateStore();
    CertificateStore(const CertificateStore&) = delete;
    CertificateStore& operator=(const CertificateStore&) = delete;

    // Returns every certificate with the name anywhere in its subject, in any letter case. When
    // there is none, returns an empty list after an Error and an Info line.
    CertificateHandleList findByName(const std::wstring& name) const;

    // Returns every certificate meant for server (else client) authentication. When there is none,
    // returns an empty list after an Error and an Info line.
    CertificateHandleList findByEnhancedKeyUsage(bool forServer) const;

    // For administration: logs the names of every certificate, and whether its chain is trusted for
    // server and for client authentication, in the order of the store. Returns nothing.
    void enumerateCertificates() const;

    // Lets the user pick a certificate in the platform's dialog and waits for the answer. When none
    // was picked, or no dialog could be shown, returns an empty handle after a Warning line.
    CertificateHandle selectCertificateFromUI() const;

private:
    ILog& log;

public:
    // The platform's handle, not to be closed; all bits set while the store isn't open.
    HCERTSTORE handle;
    CertificateInspector inspector;

private:
    void close();
    CertificateHandleList findAll(DWORD findType, const void* parameter) const;
    void reportNothingFound(const wchar_t* search, std::wstring_view kindOfTerm,
                            std::wstring_view term) const;
    void reportEndOfEnumeration() const;
};

} // namespace VexaSsl
