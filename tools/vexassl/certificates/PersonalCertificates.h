// The contents of the personal store, and which certificate a connection would use. The library's
// own credentials choose, so the result is that of a start.
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
    Unreadable, // exists, but this account can't use it
    Missing,
    Refused, // for another reason
};

struct PersonalCertificate {
    CertificateFacts facts;
    KeyVerdict key = KeyVerdict::Missing;
    std::string keyText; // the system's text when the key isn't usable
    // Index 1: for servers, index 0: for clients.
    bool trusted[2] = {false, false};
    std::string reason[2]; // why it isn't trusted

    bool isUsable(bool forServer) const { return key == KeyVerdict::Usable && trusted[forServer]; }
};

// Why a connection doesn't use a certificate.
struct Loss {
    std::size_t certificate;
    std::string identifier; // "name", "usage", "chain" or "later"; scripts depend on it
    std::string text;
};

// The choice for one role of a connection.
struct RoleChoice {
    std::string connection;
    bool isServer = false;
    std::string identifier; // "any", "by-name", "none", "picker", "not-encrypted" or "refused"
    std::string text;
    std::optional<std::size_t> chosen;
    std::string failure; // why a start would fail; else empty
    std::vector<Loss> losses;
};

// The store and its certificates; stays open to compare them with what connections choose.
class PersonalCertificates {
public:
    // Throws Failure (OwnCertificate) when the store can't be opened.
    PersonalCertificates();

    const std::vector<PersonalCertificate>& all() const { return entries; }

    // Makes the choice of a connection with this configuration in the role, by making credentials
    // as a start does, without a network.
    RoleChoice choose(const std::string& connection, const IConfig& config, bool isServer) const;

    // Returns what the library's own enumeration logs.
    std::vector<LoggedLine> walk() const;

    // Lets the user pick one. Returns nothing when the user declines or can't be asked.
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
    CertificateHandleList handles; // released before the store
    std::vector<PersonalCertificate> entries;
};

const char* keyWord(KeyVerdict verdict);

} // namespace VexaSsl::tool
