// The security options of one connection as typed fields, checked when a secure connection is set
// up: a bad value therefore shows on the first connection, not when the program starts.
//
// The log is borrowed. After construction nothing here changes by itself: any thread may read.
#pragma once

#include "VexaSsl/IConfig.h"
#include "VexaSsl/ILog.h"

#include <cstdint>
#include <string>
#include <vector>

namespace VexaSsl {

// How the own certificate of a connection is picked.
enum class CertificateChoice : std::int32_t {
    FromUserInterface = 0, // the user is asked
    AnySuitable = 1,       // the store is searched for a suitable one
    ByName = 2,            // the store is searched for the configured name
    NoCertificate = 3,     // none is sent
};

enum class LibraryInvocationPurpose : std::int32_t {
    SecureCommunication = 0,
    ListCertificates = 1,
    SelectCertificateFromUI = 2,
};

class SecureChannelOptions {
public:
    // Throws std::out_of_range("invalid configuration") at the first bad option, which is the only
    // one that the log tells of. No bad value is replaced by a default.
    SecureChannelOptions(ILog& log, const IConfig& config);

    // The choice for the role. The user is asked only on a server.
    CertificateChoice certificateChoice(bool isServer) const;

private:
    // Each gives false, with an Error line, for a bad value.
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
    bool anyClientAcceptable = false;                // acceptableClientNames is then empty
};

} // namespace VexaSsl
