#include "platform/openssl/stores/VerificationParameters.h"

#include "platform/openssl/stores/OpenSslFailure.h"
#include "platform/openssl/stores/SecurityLevel.h"

namespace VexaSsl::openssl {
namespace {

struct PurposeSettings {
    int purpose; // 0: none
    int trust;
    unsigned nameFlags;
};

// A server's common name counts only without alternative names, a client's always; name constraints
// apply to it accordingly.
PurposeSettings settingsOf(Purpose purpose) {
    switch (purpose) {
    case Purpose::server:
        return {X509_PURPOSE_SSL_SERVER, X509_TRUST_SSL_SERVER, serverNameFlags};
    case Purpose::client:
        return {X509_PURPOSE_SSL_CLIENT, X509_TRUST_SSL_CLIENT,
                X509_CHECK_FLAG_ALWAYS_CHECK_SUBJECT};
    case Purpose::any:
        break;
    }
    return {0, X509_TRUST_DEFAULT, X509_CHECK_FLAG_ALWAYS_CHECK_SUBJECT};
}

} // namespace

void setPurpose(X509_VERIFY_PARAM* parameters, Purpose purpose) {
    const PurposeSettings settings = settingsOf(purpose);
    if (settings.purpose != 0) {
        requireSuccess("X509_VERIFY_PARAM_set_purpose",
                       X509_VERIFY_PARAM_set_purpose(parameters, settings.purpose) == 1);
        requireSuccess("X509_VERIFY_PARAM_set_trust",
                       X509_VERIFY_PARAM_set_trust(parameters, settings.trust) == 1);
    }
    X509_VERIFY_PARAM_set_hostflags(parameters, settings.nameFlags);
    X509_VERIFY_PARAM_set_auth_level(parameters, tlsSecurityLevel());
}

} // namespace VexaSsl::openssl
