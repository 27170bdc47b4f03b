#include "target/DirectTls.h"

#include "config/Vocabulary.h"
#include "target/OwnName.h"

namespace VexaSsl::tool {

namespace {

namespace Names = ConfigurationDefinition::ConnectionOptions;
namespace Values = ConfigurationDefinition::Values;

} // namespace

Flags directTlsFlags(DirectTlsOptions& options) {
    return {
        {.name = "--tls",
         .value = "",
         .text = "Use TLS without an ini file; the peer must be trusted on this machine",
         .target = &options.enabled,
         .excludes = "--ini"},
        {.name = "--name",
         .value = "NAME",
         .text = "With --tls: name that the peer's certificate must have instead of the host's",
         .target = &options.name,
         .needs = "--tls"},
        {.name = "--root",
         .value = "FILE",
         .text = "With --tls: further trust anchors, a file in PEM, or one certificate in DER",
         .target = &options.files.root,
         .needs = "--tls"},
        {.name = "--certificate",
         .value = "FILE",
         .text = "With --tls: certificate to send if the peer asks for one, PEM with those of its "
                 "issuers, or PKCS#12",
         .target = &options.files.certificate,
         .needs = "--tls"},
        {.name = "--key",
         .value = "FILE",
         .text = "Private key of that certificate, if it is neither in the same file nor beside it",
         .target = &options.files.key,
         .needs = "--certificate"},
    };
}

void configureDirectTls(const DirectTlsOptions& options, bool switches, IConfig& config) {
    config.setValue(Names::UseEncryption, switches ? Values::Opportunistically : Values::True);
    if (!options.files.certificate.empty()) {
        config.setValue(Names::ClientCertificateToSendName, ownCertificateName());
    }
}

} // namespace VexaSsl::tool
