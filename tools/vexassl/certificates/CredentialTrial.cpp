#include "certificates/CredentialTrial.h"

#include "certificates/CertificateStore.h"
#include "common/SecurityFailure.h"
#include "config/SecureChannelOptions.h"
#include "secure/ChannelCredentials.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

const char* choiceName(CertificateChoice choice) {
    switch (choice) {
    case CertificateChoice::FromUserInterface:
        return "user-interface";
    case CertificateChoice::AnySuitable:
        return "any-suitable";
    case CertificateChoice::ByName:
        return "by-name";
    case CertificateChoice::NoCertificate:
        break;
    }
    return "none";
}

// None in a store that can't be opened: the credential meets the same and logs it.
std::size_t countMatches(const SecureChannelOptions& options, bool isServer) {
    LogCollector unheard;
    try {
        const CertificateStore store(unheard);
        return store
            .findByName(isServer ? options.serverCertificateName : options.clientCertificateName)
            .size();
    } catch (const std::runtime_error&) {
        return 0;
    }
}

// The last Error line says what the connection failed of; the ones before it are on the way there.
std::wstring causeOf(const std::vector<LoggedLine>& lines) {
    const auto last = std::find_if(lines.rbegin(), lines.rend(), [](const LoggedLine& line) {
        return line.severity == Severity::Error;
    });
    return last == lines.rend() ? std::wstring() : last->text;
}

} // namespace

CredentialTrial tryCredentials(const IConfig& config, bool isServer) {
    LogCollector log;
    const SecureChannelOptions options(log, config);
    CredentialTrial side;
    side.isServer = isServer;
    side.choice = choiceName(options.certificateChoice(isServer));
    try {
        if (options.certificateChoice(isServer) == CertificateChoice::ByName) {
            side.matches = countMatches(options, isServer);
        }
        const ChannelCredentials credentials(log, isServer, options, [&](PCCERT_CONTEXT chosen) {
            if (chosen != nullptr) {
                side.certificate = factsOf(chosen);
            }
        });
        side.usable = true;
    } catch (const std::runtime_error&) {
        side.usable = false; // the log says why
    }
    side.lines = log.take();
    side.cause = side.usable ? std::wstring() : causeOf(side.lines);
    side.reason = securityFailureSuffix(side.cause);
    return side;
}

} // namespace VexaSsl::tool
