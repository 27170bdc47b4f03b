#include "certificates/PersonalCertificates.h"

#include "VexaSsl/IConfig.h"
#include "certificates/CertificateInspector.h"
#include "common/ExitStatus.h"
#include "common/Text.h"
#include "config/OptionChecks.h"
#include "config/SecureChannelOptions.h"
#include "config/Vocabulary.h"
#include "frame/ErrorText.h"
#include "platform/contract/SecuritySupport.h"
#include "platform/contract/WindowsBase.h"
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

// The last line of at least this severity; lines hold the reason of what was thrown.
std::string lastLine(const std::vector<LoggedLine>& lines, Severity least) {
    const auto found = std::find_if(lines.rbegin(), lines.rend(), [least](const LoggedLine& line) {
        return line.severity >= least;
    });
    return found == lines.rend() ? std::string() : shownLine(found->text);
}

// Whether a credential can be built on the certificate, as a connection would.
SECURITY_STATUS tryKey(PCCERT_CONTEXT certificate) {
    PCCERT_CONTEXT certificates[1] = {certificate};
    SCHANNEL_CRED description{};
    description.dwVersion = SCHANNEL_CRED_VERSION;
    description.cCreds = 1;
    description.paCred = certificates;
    wchar_t package[] = L"Microsoft Unified Security Protocol Provider";
    CredHandle handle{};
    TimeStamp expiry{};
    const SECURITY_STATUS status =
        platform::AcquireCredentialsHandleW(nullptr, package, SECPKG_CRED_INBOUND, nullptr,
                                            &description, nullptr, nullptr, &handle, &expiry);
    if (status == SEC_E_OK) {
        platform::FreeCredentialsHandle(&handle);
    }
    return status;
}

void readKey(PCCERT_CONTEXT certificate, PersonalCertificate& entry) {
    const SECURITY_STATUS status = tryKey(certificate);
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

// As the credentials ask for it.
std::wstring machineName() {
    DWORD size = 0;
    platform::GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &size);
    std::wstring name(size, L'\0');
    if (size == 0 ||
        !platform::GetComputerNameExW(ComputerNameDnsFullyQualified, name.data(), &size)) {
        return {};
    }
    name.resize(size);
    return name;
}

bool isEncrypted(const IConfig& config) {
    using namespace ConfigurationDefinition;
    const std::wstring value = config.getValue(ConnectionOptions::UseEncryption);
    return !sameWord(value, Values::False);
}

std::string shownFileText(const std::wstring& text) {
    return printableText(charactersOfFileText(text));
}

// What the options ask for, in words and for scripts.
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
        choice.text = choice.isServer
                          ? "takes the last one that names this machine [" +
                                shownLine(machineName()) + "], is meant for servers and is trusted"
                          : "takes the last one that is meant for clients and is "
                            "trusted";
        return;
    case CertificateChoice::FromUserInterface:
        choice.identifier = "picker";
        choice.text = "asks the user";
        return;
    }
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
    for (const bool forServer : {false, true}) {
        for (const CertificateHandle& hit : store->findByEnhancedKeyUsage(forServer)) {
            for (std::size_t i = 0; i < handles.size(); ++i) {
                entries[i].marked[forServer] =
                    entries[i].marked[forServer] || areSame(handles[i].get(), hit.get());
            }
        }
    }
}

// The last of several that are the same, since that is the one that a choice takes.
std::size_t PersonalCertificates::placeOf(PCCERT_CONTEXT certificate) const {
    std::size_t place = 0;
    for (std::size_t i = 0; i < handles.size(); ++i) {
        place = areSame(handles[i].get(), certificate) ? i : place;
    }
    return place;
}

std::vector<bool> PersonalCertificates::foundByName(const std::wstring& name) const {
    std::vector<bool> found(handles.size());
    for (const CertificateHandle& hit : store->findByName(name)) {
        for (std::size_t i = 0; i < handles.size(); ++i) {
            found[i] = found[i] || areSame(handles[i].get(), hit.get());
        }
    }
    log.take();
    return found;
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
        makeCredentials(options, lines, choice);
        tellLosses(choice, options);
    } catch (const std::exception& error) {
        const std::string line = lastLine(lines.take(), Severity::Error);
        choice.failure = line.empty() ? error.what() : line;
    }
    return choice;
}

void PersonalCertificates::makeCredentials(const SecureChannelOptions& options, LogCollector& lines,
                                           RoleChoice& choice) const {
    const auto listen = [&](PCCERT_CONTEXT chosen) {
        if (chosen != nullptr) {
            choice.chosen = placeOf(chosen);
        }
    };
    try {
        const ChannelCredentials credentials(lines, choice.isServer, options, listen);
    } catch (const std::runtime_error& error) {
        // The store's own closing line comes behind the reason, as Debug.
        const std::string line = lastLine(lines.take(), Severity::Error);
        choice.failure = line.empty() ? error.what() : line;
    }
}

// The steps of the choice, one certificate after the other.
void PersonalCertificates::tellLosses(RoleChoice& choice,
                                      const SecureChannelOptions& options) const {
    const bool isServer = choice.isServer;
    const bool mustBeSuitable = choice.identifier == "any";
    if (!mustBeSuitable && choice.identifier != "by-name") {
        return;
    }
    const std::wstring name = mustBeSuitable ? machineName()
                              : isServer     ? options.serverCertificateName
                                             : options.clientCertificateName;
    const std::vector<bool> named =
        mustBeSuitable && !isServer ? std::vector<bool>(entries.size(), true) : foundByName(name);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const PersonalCertificate& entry = entries[i];
        if (choice.chosen == i) {
            continue;
        }
        if (!named[i]) {
            choice.losses.push_back(
                {i, "name", "its subject doesn't have [" + shownFileText(name) + "] in it"});
        } else if (mustBeSuitable && !entry.marked[isServer]) {
            choice.losses.push_back(
                {i, "usage",
                 isServer ? "it isn't marked for servers" : "it isn't marked for clients"});
        } else if (mustBeSuitable && !entry.trusted[isServer]) {
            choice.losses.push_back({i, "chain", "it isn't trusted: " + entry.reason[isServer]});
        } else {
            choice.losses.push_back({i, "later", "another one that fits comes later in the store"});
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
