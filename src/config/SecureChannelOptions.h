// The security options of one connection as typed fields. They are checked for each connection, so
// an invalid value shows on the first one, not when the program starts.
//
// Threads: after construction any thread may read.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VexaSsl {

// How the certificate that a connection sends is chosen.
enum class CertificateChoice : std::int32_t {
    FromUserInterface = 0, // by the user
    AnySuitable = 1,       // any suitable one in the store
    ByName = 2,            // the configured name in the store
    NoCertificate = 3,
};

enum class LibraryInvocationPurpose : std::int32_t {
    SecureCommunication = 0,
    ListCertificates = 1,
    SelectCertificateFromUI = 2,
};

class SecureChannelOptions {
public:
    // Throws std::out_of_range("invalid configuration") after an Error line for the first invalid
    // option. No default replaces an invalid value.
    SecureChannelOptions(ILog& log, const IConfig& config);

    // The choice of the given role; FromUserInterface only on a server.
    CertificateChoice certificateChoice(bool isServer) const;

private:
    // Each returns false, after an Error line, for an invalid value.
    bool checkRequireClientAuthentication();
    bool checkServerCertificateToSendName();
    bool checkClientCertificateToSendName();
    bool checkAcceptableClientNames();
    bool checkLibraryInvocationPurpose();

    // The texts as configured, needed during construction only. Compatibility: field-order
    ILog& log;
    std::wstring requireClientAuthenticationText;
    std::wstring serverCertificateToSendNameText;
    std::wstring clientCertificateToSendNameText;
    std::wstring acceptableClientCertificateToReceiveNamesText;
    std::wstring libraryInvocationPurposeText;

public:
    LibraryInvocationPurpose libraryInvocationPurpose =
        LibraryInvocationPurpose::SecureCommunication;
    bool requireClientAuthentication = false;
    std::wstring serverCertificateName;              // or the word Any
    std::wstring clientCertificateName;              // or one of the words Any and None
    std::vector<std::wstring> acceptableClientNames; // in the order of the option's text
    bool anyClientAcceptable = false;                // if true, acceptableClientNames is empty
};

} // namespace VexaSsl
