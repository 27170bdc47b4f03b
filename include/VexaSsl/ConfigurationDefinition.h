// Names of the configuration that a host uses: the section and key of the ini file that point to
// the store file, the built-in connection names, and the two options that only a program can set.
// The manual vexassl.ini(5) describes both files.
//
// The constants are constructed when the library is loaded and destroyed when it is unloaded. The
// value of each is its own name: ConfigurationStore is L"ConfigurationStore". Exceptions are noted.
#pragma once

#include "VexaSsl/Export.h"

#include <string>

namespace VexaSsl::ConfigurationDefinition {

// Section of the ini file that points to the store file.
extern VEXASSL_API const std::wstring VexaSslSection;

namespace VexaSslSectionOptions {
// Key in that section: the path of the store file. A relative path starts at the working directory
// of the process.
extern VEXASSL_API const std::wstring ConfigurationStore;
} // namespace VexaSslSectionOptions

// Connection names, the keys of the store's Connections section. A host may use names of its own. A
// name without an entry uses the entry Default.
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
// The name that the configuration was made for.
extern VEXASSL_API const std::wstring ConnectionName;
// SecureCommunication, ListCertificates or SelectCertificateFromUI.
extern VEXASSL_API const std::wstring LibraryInvocationPurpose;
} // namespace InternalOnlyUtilityOptions

} // namespace VexaSsl::ConfigurationDefinition
