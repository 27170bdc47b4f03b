// What lies in the personal store, and which of it a connection would take. The choice is made by
// the library's own credentials, so what is said here is what a start does.
//
// Plain values once made; any thread.
#pragma once

#include "certificates/CertificateFacts.h"
#include "certificates/CertificateSelection.h"
#include "certificates/CertificateStore.h"
#include "common/LogCollector.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl {
class IConfig;
class SecureChannelOptions;
} // namespace VexaSsl

namespace VexaSsl::tool {

enum class KeyVerdict {
    Usable,
    Unreadable, // there, but this account can't use it
    Missing,
    Refused, // the system refuses certificate or key for another reason
};

struct PersonalCertificate {
    CertificateFacts facts;
    KeyVerdict key = KeyVerdict::Missing;
    std::string keyText; // the system's words when the key isn't usable
    // Index 1: for servers, index 0: for clients.
    bool trusted[2] = {false, false};
    std::string reason[2]; // why it isn't

    bool isUsable(bool forServer) const { return key == KeyVerdict::Usable && trusted[forServer]; }
};

// Why a certificate isn't the one that a connection takes.
struct Loss {
    std::size_t certificate;
    std::string identifier; // "name", "usage", "chain" or "later"; scripts depend on it
    std::string text;
};

// What one role of a connection does about its certificate.
struct RoleChoice {
    std::string connection;
    bool isServer = false;
    std::string identifier; // "any", "by-name", "none", "picker", "not-encrypted" or "refused"
    std::string text;
    std::optional<std::size_t> chosen;
    std::string failure; // why a start would fail; empty: it wouldn't
    std::vector<Loss> losses;
};

// The store with its certificates, kept open to compare what connections choose.
class PersonalCertificates {
public:
    // Throws Failure (OwnCertificate) when the store can't be opened.
    PersonalCertificates();

    const std::vector<PersonalCertificate>& all() const { return entries; }

    // What a connection of this configuration would do, in the role. Makes credentials as a start
    // does, without a network.
    RoleChoice choose(const std::string& connection, const IConfig& config, bool isServer) const;

    // What the library's own listing walk logs.
    std::vector<LoggedLine> walk() const;

    // Has the user pick one. Nothing when the user declines or can't be asked.
    std::optional<std::size_t> pick() const;

private:
    void read();
    std::size_t placeOf(PCCERT_CONTEXT certificate) const;
    // The reason of each entry, in their order.
    using Reasons = std::vector<std::optional<PassedOver>>;
    Reasons makeCredentials(const SecureChannelOptions& options, LogCollector& lines,
                            RoleChoice& choice) const;
    void explainPassedOver(RoleChoice& choice, const SecureChannelOptions& options,
                           const Reasons& reasons) const;

    mutable LogCollector log; // outlives the store
    std::unique_ptr<CertificateStore> store;
    CertificateHandleList handles; // go before the store
    std::vector<PersonalCertificate> entries;
};

const char* keyWord(KeyVerdict verdict);

} // namespace VexaSsl::tool
