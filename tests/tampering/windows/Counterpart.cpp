// The counterpart is the system's security package, driven on memory by its own calls, because
// Windows tests link no other TLS library.
#include "tampering/Counterpart.h"

#include "contract/support/TestCertificates.h"
#include "integration/support/Pki.h"
#include "integration/support/System.h"
#include "platform/contract/CryptoApi.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace VexaSsl::test {

namespace {

Side makeSide(const ConnectionSetup& setup) {
    if (setup.asServer) {
        return Side::client(L"localhost", setup.mutual ? setup.clientCase() : "");
    }
    const ULONG asking = setup.mutual ? ASC_REQ_MUTUAL_AUTH : 0U;
    return Side::server(setup.serverCase(), serverRequirements | asking);
}

Bytes encoded(PCCERT_CONTEXT certificate) {
    return {certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded};
}

} // namespace

struct Counterpart::State {
    ConnectionSetup setup;
    Side side;
    bool begun = false;
};

const std::vector<std::string>& allSuites() {
    static const std::vector<std::string> whateverIsAgreed = {""};
    return whateverIsAgreed;
}

const PackageBehaviour& packageBehaviour() {
    static const PackageBehaviour ofWine{.altered = SEC_E_INTERNAL_ERROR,
                                         .checksHeaders = false,
                                         .reportsCipherSuites = false,
                                         .endsStream = false};
    static const PackageBehaviour ofWindows{.altered = SEC_E_MESSAGE_ALTERED,
                                            .checksHeaders = true,
                                            .reportsCipherSuites = true,
                                            .endsStream = false};
    return missingAbility(Ability::verifyServers).empty() ? ofWindows : ofWine;
}

Bytes certificateOf(const std::string& name) {
    std::ifstream file(pki::file(name, "cert"), std::ios::binary);
    const std::string pem{std::istreambuf_iterator<char>(file), {}};
    Bytes bytes(pem.size());
    DWORD size = static_cast<DWORD>(bytes.size());
    if (CryptStringToBinaryA(pem.data(), static_cast<DWORD>(pem.size()), CRYPT_STRING_BASE64HEADER,
                             bytes.data(), &size, nullptr, nullptr) == FALSE) {
        throw std::runtime_error("no certificate " + name);
    }
    bytes.resize(size);
    return bytes;
}

Counterpart::Counterpart(const ConnectionSetup& setup)
    : state(std::make_unique<State>(State{setup, makeSide(setup)})) {}

Counterpart::~Counterpart() = default;

Bytes Counterpart::step(const Bytes& received) {
    const bool starts = !state->begun && state->setup.asServer;
    const bool ended = state->side.status() < 0 && state->side.status() != SEC_E_INCOMPLETE_MESSAGE;
    if (ended || established() || (received.empty() && !starts)) {
        return {};
    }
    state->begun = true;
    return starts ? state->side.step().token : state->side.receive(received).token;
}

bool Counterpart::established() const {
    return state->side.established();
}

Agreement Counterpart::agreement() const {
    const ConnectionSetup& setup = state->setup;
    Agreement agreed = agreementOf(state->side.context(), !setup.asServer);
    if (!setup.asServer) {
        agreed.serverCertificate = encoded(StoreCertificate(setup.serverCase()).get());
    } else if (setup.mutual) {
        agreed.clientCertificate = encoded(StoreCertificate(setup.clientCase()).get());
    }
    return agreed;
}

Bytes Counterpart::protect(const std::string& text) {
    return state->side.protect(text);
}

std::string Counterpart::open(const Bytes& received) {
    std::string text;
    for (Bytes rest = received; !rest.empty();) {
        const Opened opened = state->side.open(rest);
        if (opened.status != SEC_E_OK) {
            break;
        }
        text += textOf(opened.plaintext);
        rest = part(rest, rest.size() - opened.extra);
    }
    return text;
}

} // namespace VexaSsl::test
