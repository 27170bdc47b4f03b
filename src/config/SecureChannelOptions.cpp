#include "config/SecureChannelOptions.h"
#include "config/LogTexts.h"

#include "config/NameList.h"
#include "config/OptionChecks.h"
#include "config/Vocabulary.h"
#include <string>
#include <utility>

namespace VexaSsl {

namespace Definition = ConfigurationDefinition;

SecureChannelOptions::SecureChannelOptions(ILog& log, const IConfig& config)
    : log(log), requireClientAuthenticationText(
                    config.getValue(Definition::ConnectionOptions::RequireClientAuthentication)),
      serverCertificateToSendNameText(
          config.getValue(Definition::ConnectionOptions::ServerCertificateToSendName)),
      clientCertificateToSendNameText(
          config.getValue(Definition::ConnectionOptions::ClientCertificateToSendName)),
      acceptableClientCertificateToReceiveNamesText(config.getValue(
          Definition::ConnectionOptions::AcceptableClientCertificateToReceiveNames)),
      libraryInvocationPurposeText(
          config.getValue(Definition::InternalOnlyUtilityOptions::LibraryInvocationPurpose)) {
    const bool valid = checkRequireClientAuthentication() && checkServerCertificateToSendName() &&
                       checkClientCertificateToSendName() && checkAcceptableClientNames() &&
                       checkLibraryInvocationPurpose();
    if (!valid) {
        throwInvalidConfiguration();
    }
}

CertificateChoice SecureChannelOptions::certificateChoice(bool isServer) const {
    const bool askUser =
        libraryInvocationPurpose == LibraryInvocationPurpose::SelectCertificateFromUI;
    if (isServer && askUser) {
        return CertificateChoice::FromUserInterface;
    }
    const std::wstring& name = isServer ? serverCertificateName : clientCertificateName;
    if (sameWord(name, Definition::Values::Any)) {
        return CertificateChoice::AnySuitable;
    }
    if (!isServer && sameWord(name, Definition::Values::None)) {
        return CertificateChoice::NoCertificate;
    }
    return CertificateChoice::ByName;
}

bool SecureChannelOptions::checkRequireClientAuthentication() {
    return parseBoolean(requireClientAuthenticationText, requireClientAuthentication) ||
           refuseValue(log, Definition::ConnectionOptions::RequireClientAuthentication,
                       requireClientAuthenticationText);
}

bool SecureChannelOptions::checkServerCertificateToSendName() {
    if (sameWord(serverCertificateToSendNameText, Definition::Values::None)) {
        log.log(Severity::Error, LogTexts::suppliedValuePrefix + serverCertificateToSendNameText +
                                     L"] of " +
                                     Definition::ConnectionOptions::ServerCertificateToSendName +
                                     L" is invalid. Servers MUST send certificates");
        return false;
    }
    serverCertificateName = serverCertificateToSendNameText;
    return true;
}

bool SecureChannelOptions::checkClientCertificateToSendName() {
    clientCertificateName = clientCertificateToSendNameText;
    return true;
}

bool SecureChannelOptions::checkAcceptableClientNames() {
    for (std::wstring& name : splitNameList(acceptableClientCertificateToReceiveNamesText)) {
        if (sameWord(name, Definition::Values::Any)) {
            anyClientAcceptable = true;
            acceptableClientNames.clear();
            return true;
        }
        acceptableClientNames.push_back(std::move(name));
    }
    if (!acceptableClientNames.empty()) {
        return true;
    }
    log.log(Severity::Error,
            LogTexts::suppliedValuePrefix + acceptableClientCertificateToReceiveNamesText +
                L"] of " +
                Definition::ConnectionOptions::AcceptableClientCertificateToReceiveNames +
                L" is empty");
    return false;
}

bool SecureChannelOptions::checkLibraryInvocationPurpose() {
    const std::wstring& text = libraryInvocationPurposeText;
    if (sameWord(text, Definition::Values::ListCertificates)) {
        libraryInvocationPurpose = LibraryInvocationPurpose::ListCertificates;
    } else if (sameWord(text, Definition::Values::SelectCertificateFromUI)) {
        libraryInvocationPurpose = LibraryInvocationPurpose::SelectCertificateFromUI;
    } else if (!sameWord(text, Definition::Values::SecureCommunication)) {
        return refuseValue(log, Definition::InternalOnlyUtilityOptions::LibraryInvocationPurpose,
                           text);
    }
    return true;
}

} // namespace VexaSsl
