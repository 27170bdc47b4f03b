// Here there is no other TLS library at hand: the system's security package plays this end as well,
// driven by its own calls on memory.
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

Side makeSide(const Casting& casting) {
    if (casting.asServer) {
        return Side::client(L"localhost", casting.mutual ? casting.clientCase() : "");
    }
    const ULONG asking = casting.mutual ? ASC_REQ_MUTUAL_AUTH : 0U;
    return Side::server(casting.serverCase(), serverRequirements | asking);
}

Bytes encoded(PCCERT_CONTEXT certificate) {
    return {certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded};
}

} // namespace

struct Counterpart::State {
    Casting casting;
    Side side;
    bool begun = false;
};

const std::vector<std::string>& allSuites() {
    static const std::vector<std::string> whateverIsAgreed = {""};
    return whateverIsAgreed;
}

const PackageHabits& packageHabits() {
    static const PackageHabits ofWine{
        .altered = SEC_E_INTERNAL_ERROR, .judgesHeaders = false, .numbersSuites = false};
    static const PackageHabits ofWindows{
        .altered = SEC_E_MESSAGE_ALTERED, .judgesHeaders = true, .numbersSuites = true};
    return whyNot(Ability::judgeServers).empty() ? ofWindows : ofWine;
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

Counterpart::Counterpart(const Casting& casting)
    : state(std::make_unique<State>(State{casting, makeSide(casting)})) {}

Counterpart::~Counterpart() = default;

Bytes Counterpart::step(const Bytes& received) {
    const bool starts = !state->begun && state->casting.asServer;
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
    const Casting& casting = state->casting;
    Agreement agreed = agreementOf(state->side.context(), !casting.asServer);
    if (!casting.asServer) {
        agreed.serverCertificate = encoded(StoreCertificate(casting.serverCase()).get());
    } else if (casting.mutual) {
        agreed.clientCertificate = encoded(StoreCertificate(casting.clientCase()).get());
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
