// The other end of a connection under test: TLS on memory, played by something that is not the
// library. Each system has its own (Counterpart.cpp in a folder for each).
#pragma once

#include "contract/tls/Side.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::test {

// Who plays what in one connection.
struct Casting {
    bool asServer = false; // the role of the side under test
    bool mutual = false;   // both ends show a certificate
    bool upgraded = false; // the side under test starts in the clear
    // A server accepts by AcceptEx and completeAcceptEx.
    bool overlapped = false;
    // The only one that the counterpart knows; empty: all that it knows of its own accord, and
    // newer versions of the protocol.
    std::string suite = "ECDHE-ECDSA-AES128-GCM-SHA256";

    bool elliptic() const { return suite.find("-RSA-") == std::string::npos; }
    std::string serverCase() const { return elliptic() ? "server-ecdsa" : "server-rsa"; }
    std::string clientCase() const { return elliptic() ? "client" : "client-rsa"; }
    std::string describe() const;
};

// All suites that the library's security package may agree on.
const std::vector<std::string>& allSuites();

// How the library's security package takes what is no good record.
struct PackageHabits {
    SECURITY_STATUS altered; // the status of a record that was changed
    bool judgesHeaders;      // bytes that can't begin a record are refused at once
    bool numbersSuites;      // it tells the number of the suite that is agreed
};
const PackageHabits& packageHabits();

// What one end holds to be agreed.
struct Agreement {
    unsigned version = 0; // as on the wire
    unsigned suite = 0;   // its number
    Bytes serverCertificate = {};
    Bytes clientCertificate = {}; // of mutual authentication

    bool operator==(const Agreement&) const = default;
};

// What an established context of the library's security package tells of the protocol and the
// suite; as the certificate of its peer the one that it was shown. The rest stays empty.
Agreement agreementOf(CtxtHandle* context, bool ofServer);
// The encoded certificate of a case, as the side under test shows it.
Bytes certificateOf(const std::string& name);

class Counterpart {
public:
    explicit Counterpart(const Casting& casting);
    ~Counterpart();
    Counterpart(const Counterpart&) = delete;
    Counterpart& operator=(const Counterpart&) = delete;

    // Goes on with the handshake; a client begins with no bytes. What it wants to send.
    Bytes step(const Bytes& received);
    bool established() const;
    Agreement agreement() const;
    // One record.
    Bytes protect(const std::string& text);
    // The text of all records, as far as they are good.
    std::string open(const Bytes& received);

private:
    struct State;
    const std::unique_ptr<State> state;
};

} // namespace VexaSsl::test
