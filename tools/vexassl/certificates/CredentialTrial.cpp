#include "certificates/CredentialTrial.h"

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

// Records the chosen certificate, and how many were found.
class ChosenCertificate : public ISelectionObserver {
public:
    ChosenCertificate(CredentialTrial& trial, const OnChosen& onChosen)
        : trial(trial), onChosen(onChosen) {}

    void chosen(PCCERT_CONTEXT certificate) override {
        trial.certificate = factsOf(certificate);
        ++found;
        if (onChosen) {
            onChosen(certificate);
        }
    }
    void passedOver(PCCERT_CONTEXT, PassedOver) override { ++found; }

    std::size_t found = 0;

private:
    CredentialTrial& trial;
    const OnChosen& onChosen;
};

// The last Error line has the reason; the ones before it are of searches.
std::wstring causeOf(const std::vector<LoggedLine>& lines) {
    const auto last = std::find_if(lines.rbegin(), lines.rend(), [](const LoggedLine& line) {
        return line.severity == Severity::Error;
    });
    return last == lines.rend() ? std::wstring() : last->text;
}

std::string reasonOf(const CredentialTrial& trial) {
    const std::string weakness =
        trial.certificate ? weaknessOf(trial.certificate->key) : std::string();
    return securityFailureSuffix(trial.cause) + (weakness.empty() ? "" : ": " + weakness);
}

} // namespace

CredentialTrial tryCredentials(const IConfig& config, bool isServer, const OnChosen& onChosen) {
    LogCollector log;
    const SecureChannelOptions options(log, config);
    const CertificateChoice choice = options.certificateChoice(isServer);
    CredentialTrial trial;
    trial.isServer = isServer;
    trial.choice = choiceName(choice);
    ChosenCertificate observer(trial, onChosen);
    try {
        const ChannelCredentials credentials(log, isServer, options, &observer);
        trial.usable = true;
    } catch (const std::runtime_error&) {
        trial.usable = false; // the log says why
    }
    trial.matches = choice == CertificateChoice::ByName ? observer.found : 0;
    trial.lines = log.take();
    if (!trial.usable) {
        trial.cause = causeOf(trial.lines);
        trial.reason = reasonOf(trial);
    }
    return trial;
}

} // namespace VexaSsl::tool
