// Every word of the configuration: sections, options, their values and defaults. Code compares
// against these constants, never against a literal. The names that a host needs are in
// VexaSsl/ConfigurationDefinition.h.
//
// To add an option:
//   1. Here: its name, its default and the sets that contain it. SslConfig then holds its text.
//   2. Its check and typed field: in StrategyOptions if it decides which strategies a connection
//      has, in SecureChannelOptions if it concerns TLS. OptionChecks has what both share.
//   3. docs/man/vexassl.ini.5, which a test compares with this file.
//
// The constants are built when the library is loaded, in one translation unit, in their order. No
// other object with static storage may be built from them, since the order between translation
// units is undefined. Threads: any.
#pragma once

#include "VexaSsl/ConfigurationDefinition.h" // IWYU pragma: export
#include "config/OptionMap.h"

#include <string>

namespace VexaSsl::ConfigurationDefinition {

// Section of the store that maps connection names to the sections with their options.
extern const std::wstring ConnectionsSection;
// The name of the store, and of any file that the parser reads, in log lines.
extern const std::wstring ConfigurationStoreLabel;
extern const std::wstring KeyValueDelimiter; // used as a regular expression
extern const std::wstring NameListDelimiter;

namespace ConnectionsSectionOptions {
extern const std::wstring Default; // for connections without an entry
} // namespace ConnectionsSectionOptions

// The options in a store. InternalOnlyUtilityOptions has the two that only a program sets.
namespace ConnectionOptions {
extern const std::wstring UseEncryption;
extern const std::wstring RequireClientAuthentication;
extern const std::wstring ServerCertificateToSendName;
extern const std::wstring ClientCertificateToSendName;
extern const std::wstring AcceptableClientCertificateToReceiveNames;
extern const std::wstring MinimumSeverityToLog;
extern const std::wstring InjectLogLayers;
} // namespace ConnectionOptions

namespace Values {
extern const std::wstring True;
extern const std::wstring False;
extern const std::wstring Opportunistically;
extern const std::wstring Any;
extern const std::wstring None;
extern const std::wstring SecureCommunication;
extern const std::wstring ListCertificates;
extern const std::wstring SelectCertificateFromUI;
// Error and Fatal have no word: a configuration can't suppress warnings.
extern const std::wstring Warning;
extern const std::wstring Info;
extern const std::wstring Debug;
} // namespace Values

namespace Defaults {
extern const std::wstring UseEncryption;
extern const std::wstring RequireClientAuthentication;
extern const std::wstring ServerCertificateToSendName; // Any
extern const std::wstring ClientCertificateToSendName; // None
extern const std::wstring AcceptableClientCertificateToReceiveNames;
extern const std::wstring MinimumSeverityToLog;
extern const std::wstring InjectLogLayers;
extern const std::wstring ConnectionName;
extern const std::wstring LibraryInvocationPurpose;
} // namespace Defaults

// All nine options with their defaults.
extern const OptionMap DefaultOptions;

extern const NameSet InternalConnectionNames;  // refused for opportunistic TLS
extern const NameSet ReservedConnectionNames;  // always have the defaults
extern const NameSet FileUnreadableOptions;    // ignored in a store
extern const NameSet SilentlyDefaultedOptions; // no log line if a store lacks them

} // namespace VexaSsl::ConfigurationDefinition
