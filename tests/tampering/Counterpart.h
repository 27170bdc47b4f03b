// The other end of a connection under test: TLS on memory without the library. Each system has its
// own implementation in linux/ and windows/.
#pragma once

#include "contract/tls/Side.h"

#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::test {

// The roles and options of one connection.
struct ConnectionSetup {
    bool asServer = false; // the role of the side under test
    bool mutual = false;   // both ends send a certificate
    bool upgraded = false; // the side under test starts in the clear
    // A server accepts with AcceptEx and completeAcceptEx.
    bool overlapped = false;
    // The only cipher suite of the counterpart. Empty: its defaults, which include newer protocol
    // versions.
    std::string suite = "ECDHE-ECDSA-AES128-GCM-SHA256";

    bool elliptic() const { return suite.find("-RSA-") == std::string::npos; }
    std::string serverCase() const { return elliptic() ? "server-ecdsa" : "server-rsa"; }
    std::string clientCase() const { return elliptic() ? "client" : "client-rsa"; }
    std::string describe() const;
};

// All cipher suites that the library's security package supports.
const std::vector<std::string>& allSuites();

// How the library's security package handles invalid records.
struct PackageBehaviour {
    SECURITY_STATUS altered;  // the status of a changed record
    bool checksHeaders;       // bytes that cannot begin a record are refused at once
    bool reportsCipherSuites; // a context reports the number of its cipher suite
    bool endsStream;          // after a failure each record is reported as the end of the stream
};
const PackageBehaviour& packageBehaviour();

// The parameters that one end has agreed on.
struct Agreement {
    unsigned version = 0; // as on the wire
    unsigned suite = 0;   // its number
    Bytes serverCertificate = {};
    Bytes clientCertificate = {}; // with mutual authentication

    bool operator==(const Agreement&) const = default;
};

// The protocol version, the cipher suite and the peer's certificate that an established context of
// the library's security package reports. The rest is empty.
Agreement agreementOf(CtxtHandle* context, bool ofServer);
// The encoded certificate of a test case, as the side under test sends it.
Bytes certificateOf(const std::string& name);

class Counterpart {
public:
    explicit Counterpart(const ConnectionSetup& setup);
    ~Counterpart();
    Counterpart(const Counterpart&) = delete;
    Counterpart& operator=(const Counterpart&) = delete;

    // Continues the handshake and returns the bytes to send. A client begins without bytes.
    Bytes step(const Bytes& received);
    bool established() const;
    Agreement agreement() const;
    // Returns one record.
    Bytes protect(const std::string& text);
    // Returns the text of the records up to the first invalid one.
    std::string open(const Bytes& received);

private:
    struct State;
    const std::unique_ptr<State> state;
};

} // namespace VexaSsl::test
