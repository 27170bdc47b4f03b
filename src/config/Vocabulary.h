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
// All of them are made while the library is loaded, in one translation unit: constants first, then
// the defaults and the sets, which are copies of them. No other object of static lifetime may be
// built from them, since the order between translation units is open. Read-only: any thread.
#pragma once

#include "VexaSsl/ConfigurationDefinition.h" // IWYU pragma: export
#include "config/OptionMap.h"

#include <string>

namespace VexaSsl::ConfigurationDefinition {

// Section of the store that maps connection names to the sections with their options.
extern const std::wstring ConnectionsSection;
// What the log calls the store, and the parser any file that it reads.
extern const std::wstring ConfigurationStoreLabel;
extern const std::wstring KeyValueDelimiter; // used as a regular expression
extern const std::wstring NameListDelimiter;

namespace ConnectionsSectionOptions {
extern const std::wstring Default; // the entry of connections without one of their own
} // namespace ConnectionsSectionOptions

// The options that a store can set; the two that only a program sets are in
// InternalOnlyUtilityOptions.
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
// The severities Error and Fatal have no word: a configuration can't silence warnings.
extern const std::wstring Warning;
extern const std::wstring Info;
extern const std::wstring Debug;
} // namespace Values

namespace Defaults {
extern const std::wstring UseEncryption;
extern const std::wstring RequireClientAuthentication;
extern const std::wstring ServerCertificateToSendName; // a server sends any suitable certificate,
extern const std::wstring ClientCertificateToSendName; // a client none
extern const std::wstring AcceptableClientCertificateToReceiveNames;
extern const std::wstring MinimumSeverityToLog;
extern const std::wstring InjectLogLayers;
extern const std::wstring ConnectionName;
extern const std::wstring LibraryInvocationPurpose;
} // namespace Defaults

// All nine options with their defaults.
extern const OptionMap DefaultOptions;

extern const NameSet InternalConnectionNames;  // refused for opportunistic TLS
extern const NameSet ReservedConnectionNames;  // their settings are not read
extern const NameSet FileUnreadableOptions;    // a store can't set them
extern const NameSet SilentlyDefaultedOptions; // no line when a store leaves them out

} // namespace VexaSsl::ConfigurationDefinition
