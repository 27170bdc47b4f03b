#include "certificates/PersonalCertificates.h"

#include "VexaSsl/IConfig.h"
#include "certificates/CertificateInspector.h"
#include "certificates/CertificateSelection.h"
#include "common/ExitStatus.h"
#include "common/Text.h"
#include "config/OptionChecks.h"
#include "config/SecureChannelOptions.h"
#include "config/Vocabulary.h"
#include "frame/ErrorText.h"
#include "platform/contract/SecuritySupport.h"
#include "secure/ChannelCredentials.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::tool {

namespace {

// The last line of at least this severity, which has the reason of an exception.
std::string lastLine(const std::vector<LoggedLine>& lines, Severity least) {
    const auto found = std::find_if(lines.rbegin(), lines.rend(), [least](const LoggedLine& line) {
        return line.severity >= least;
    });
    return found == lines.rend() ? std::string() : shownLine(found->text);
}

void readKey(PCCERT_CONTEXT certificate, PersonalCertificate& entry) {
    CredentialHandle credential;
    const SECURITY_STATUS status = acquireCredential(certificate, true, credential);
    entry.key = status == SEC_E_OK                    ? KeyVerdict::Usable
                : status == SEC_E_UNKNOWN_CREDENTIALS ? KeyVerdict::Unreadable
                : status == SEC_E_NO_CREDENTIALS      ? KeyVerdict::Missing
                                                      : KeyVerdict::Refused;
    if (status != SEC_E_OK) {
        const auto code = static_cast<DWORD>(status);
        entry.keyText = std::to_string(code) + " (" + shownLine(systemErrorText(code)) + ")";
    }
}

void readVerdicts(PCCERT_CONTEXT certificate, PersonalCertificate& entry) {
    for (const bool forServer : {false, true}) {
        LogCollector log;
        const CertificateInspector inspector(log);
        entry.trusted[forServer] = inspector.verifyCertificateChain(certificate, forServer);
        for (const LoggedLine& line : log.take()) {
            if (line.severity == Severity::Warning && entry.reason[forServer].empty()) {
                entry.reason[forServer] = shownLine(line.text);
            }
        }
    }
}

bool isEncrypted(const IConfig& config) {
    using namespace ConfigurationDefinition;
    const std::wstring value = config.getValue(ConnectionOptions::UseEncryption);
    return !sameWord(value, Values::False);
}

std::string shownFileText(const std::wstring& text) {
    return printableText(charactersOfFileText(text));
}

// Describes what the options ask for, for a user and for scripts.
void describe(const SecureChannelOptions& options, RoleChoice& choice) {
    const std::wstring& name =
        choice.isServer ? options.serverCertificateName : options.clientCertificateName;
    switch (options.certificateChoice(choice.isServer)) {
    case CertificateChoice::NoCertificate:
        choice.identifier = "none";
        choice.text = "sends no certificate";
        return;
    case CertificateChoice::ByName:
        choice.identifier = "by-name";
        choice.text = "takes the last one with [" + shownFileText(name) + "] in its subject";
        return;
    case CertificateChoice::AnySuitable:
        choice.identifier = "any";
        choice.text = choice.isServer ? "takes the last one that names this machine [" +
                                            shownLine(getFullyQualifiedComputerName()) +
                                            "], is meant for servers and is trusted"
                                      : "takes the last one that is meant for clients and is "
                                        "trusted";
        return;
    case CertificateChoice::FromUserInterface:
        choice.identifier = "picker";
        choice.text = "asks the user";
        return;
    }
}

Loss wrongUsage(bool isServer) {
    return {0, "usage", isServer ? "it isn't marked for servers" : "it isn't marked for clients"};
}

Loss lossFor(PassedOver reason, const PersonalCertificate& entry, bool isServer) {
    switch (reason) {
    case PassedOver::WrongUsage:
        return wrongUsage(isServer);
    case PassedOver::NotTrusted:
        return {0, "chain", "it isn't trusted: " + entry.reason[isServer]};
    case PassedOver::NotLast:
        break;
    }
    return {0, "later", "another one that fits comes later in the store"};
}

// Certificates for any client are searched by usage, all others by name.
Loss reasonOfUnfound(const SecureChannelOptions& options, CertificateChoice way, bool isServer) {
    if (way == CertificateChoice::AnySuitable && !isServer) {
        return wrongUsage(isServer);
    }
    const std::wstring name = way == CertificateChoice::AnySuitable
                                  ? getFullyQualifiedComputerName()
                              : isServer ? options.serverCertificateName
                                         : options.clientCertificateName;
    return {0, "name", "its subject doesn't have [" + shownFileText(name) + "] in it"};
}

} // namespace

PersonalCertificates::PersonalCertificates() {
    try {
        store = std::make_unique<CertificateStore>(log);
    } catch (const std::runtime_error&) {
        throw Failure(ExitStatus::OwnCertificate, "cannot open the personal store (" +
                                                      lastLine(log.take(), Severity::Error) + ")");
    }
    read();
}

void PersonalCertificates::read() {
    CertificateHandle current;
    while ((current = CertificateHandle(
                platform::CertEnumCertificatesInStore(store->handle, current.take())))) {
        PersonalCertificate entry;
        entry.facts = factsOf(current.get());
        readKey(current.get(), entry);
        readVerdicts(current.get(), entry);
        entries.push_back(std::move(entry));
        handles.emplace_back(platform::CertDuplicateCertificateContext(current.get()));
    }
}

// The last of several equal ones, since that is the one that is chosen.
std::size_t PersonalCertificates::placeOf(PCCERT_CONTEXT certificate) const {
    std::size_t place = 0;
    for (std::size_t i = 0; i < handles.size(); ++i) {
        place = areSame(handles[i].get(), certificate) ? i : place;
    }
    return place;
}

std::vector<LoggedLine> PersonalCertificates::walk() const {
    log.take();
    store->enumerateCertificates();
    return log.take();
}

std::optional<std::size_t> PersonalCertificates::pick() const {
    const CertificateHandle picked = store->selectCertificateFromUI();
    if (!picked) {
        return std::nullopt;
    }
    return placeOf(picked.get());
}

RoleChoice PersonalCertificates::choose(const std::string& connection, const IConfig& config,
                                        bool isServer) const {
    RoleChoice choice{connection, isServer, "not-encrypted", "isn't encrypted", {}, "", {}};
    if (!isEncrypted(config)) {
        return choice;
    }
    choice.identifier = "refused";
    choice.text = "has a bad option";
    LogCollector lines;
    try {
        const SecureChannelOptions options(lines, config);
        describe(options, choice);
        const Reasons reasons = makeCredentials(options, lines, choice);
        explainPassedOver(choice, options, reasons);
    } catch (const std::exception& error) {
        const std::string line = lastLine(lines.take(), Severity::Error);
        choice.failure = line.empty() ? error.what() : line;
    }
    return choice;
}

// Makes credentials as a connection does. Returns the reason for each certificate that was passed
// over; nothing for those that no search found.
PersonalCertificates::Reasons
PersonalCertificates::makeCredentials(const SecureChannelOptions& options, LogCollector& lines,
                                      RoleChoice& choice) const {
    struct Observer : ISelectionObserver {
        Observer(const PersonalCertificates& certificates, RoleChoice& choice)
            : certificates(certificates), choice(choice), reasons(certificates.entries.size()) {}

        void chosen(PCCERT_CONTEXT certificate) override {
            choice.chosen = certificates.placeOf(certificate);
        }
        void passedOver(PCCERT_CONTEXT certificate, PassedOver reason) override {
            for (std::size_t i = 0; i < reasons.size(); ++i) {
                if (areSame(certificates.handles[i].get(), certificate)) {
                    reasons[i] = reason;
                }
            }
        }

        const PersonalCertificates& certificates;
        RoleChoice& choice;
        Reasons reasons;
    } observer(*this, choice);
    try {
        const ChannelCredentials credentials(lines, choice.isServer, options, &observer);
    } catch (const std::runtime_error& error) {
        // The store's closing line, at Debug, follows the reason.
        const std::string line = lastLine(lines.take(), Severity::Error);
        choice.failure = line.empty() ? error.what() : line;
    }
    return observer.reasons;
}

void PersonalCertificates::explainPassedOver(RoleChoice& choice,
                                             const SecureChannelOptions& options,
                                             const Reasons& reasons) const {
    const CertificateChoice way = options.certificateChoice(choice.isServer);
    if (way != CertificateChoice::AnySuitable && way != CertificateChoice::ByName) {
        return;
    }
    const Loss unfound = reasonOfUnfound(options, way, choice.isServer);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (choice.chosen != i) {
            Loss loss = reasons[i] ? lossFor(*reasons[i], entries[i], choice.isServer) : unfound;
            loss.certificate = i;
            choice.losses.push_back(std::move(loss));
        }
    }
}

const char* keyWord(KeyVerdict verdict) {
    switch (verdict) {
    case KeyVerdict::Usable:
        return "usable";
    case KeyVerdict::Unreadable:
        return "unreadable";
    case KeyVerdict::Missing:
        return "missing";
    case KeyVerdict::Refused:
        break;
    }
    return "refused";
}

} // namespace VexaSsl::tool
