// TLS to a peer without a configuration file: the flags, and the configuration made from them.
//
// Plain values; any thread.
#pragma once

#include "VexaSsl/IConfig.h"
#include "common/CertificateFolder.h"
#include "common/Command.h"

#include <string>

namespace VexaSsl::tool {

struct DirectTlsOptions {
    bool enabled = false;
    std::string name; // that the peer's certificate must have; empty: the host
    CertificateFiles files;
};

// The flags that fill the options; they exclude --ini.
Flags directTlsFlags(DirectTlsOptions& options);

// The connection name of such a configuration, under which TLS may also begin later.
inline constexpr const char* directConnectionName = "CommandLine";

// Makes the configuration secure the connection, after an exchange in the clear if it switches. The
// added certificates must live already. Throws Failure (OwnCertificate).
void configureDirectTls(const DirectTlsOptions& options, bool switches, IConfig& config);

} // namespace VexaSsl::tool
