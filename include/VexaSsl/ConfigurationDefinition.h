// Names that a host uses with the configuration: the section and key of the ini file that point to
// the store, the built-in connection names, and the two options that only a program can set.
//
// The constants are made when the library is loaded and live until it is unloaded. Read-only, so
// any thread may use them. Everything is matched without regard to letter case.
#pragma once

#include "VexaSsl/Export.h"

#include <string>

namespace VexaSsl::ConfigurationDefinition {

// Section of the ini file that points to the store file.
extern VEXASSL_API const std::wstring VexaSslSection;

namespace VexaSslSectionOptions {
// Key in that section: the path of the store file. A relative path is taken from the working
// directory of the process.
extern VEXASSL_API const std::wstring ConfigurationStore;
} // namespace VexaSslSectionOptions

// Connection names, the keys of the store's Connections section. A host may use names of its own;
// a name without an entry uses the entry Default.
namespace ConnectionsSectionOptions {
extern VEXASSL_API const std::wstring ClientToMox;         // built in
extern VEXASSL_API const std::wstring QLT;                 // built in
extern VEXASSL_API const std::wstring VexaHttpToClient;    // built in
extern VEXASSL_API const std::wstring WebSocketsToClient;  // reserved: never encrypted
extern VEXASSL_API const std::wstring PresentationClient;  // reserved: never encrypted
extern VEXASSL_API const std::wstring OdbcThinClient;      // built in
extern VEXASSL_API const std::wstring VexaTcpIpConnection; // reserved: never encrypted
} // namespace ConnectionsSectionOptions

// Options that no file can set, only IConfig::setValue.
namespace InternalOnlyUtilityOptions {
extern VEXASSL_API const std::wstring
    ConnectionName; // the name that the configuration was made for
// SecureCommunication, ListCertificates or SelectCertificateFromUI.
extern VEXASSL_API const std::wstring LibraryInvocationPurpose;
} // namespace InternalOnlyUtilityOptions

} // namespace VexaSsl::ConfigurationDefinition
