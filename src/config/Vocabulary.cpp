// The order of the definitions matters: a constant precedes what is built from it.
#include "config/Vocabulary.h"
#include <string>

namespace VexaSsl::ConfigurationDefinition {

const std::wstring VexaSslSection = L"VexaSsl";
const std::wstring ConnectionsSection = L"Connections";
const std::wstring ConfigurationStoreLabel = L"Configuration Store";
const std::wstring KeyValueDelimiter = L"=";
const std::wstring NameListDelimiter = L",";

namespace VexaSslSectionOptions {
const std::wstring ConfigurationStore = L"ConfigurationStore";
} // namespace VexaSslSectionOptions

namespace ConnectionsSectionOptions {
const std::wstring Default = L"Default";
const std::wstring ClientToMox = L"ClientToMox";
const std::wstring QLT = L"QLT";
const std::wstring VexaHttpToClient = L"VexaHttpToClient";
const std::wstring WebSocketsToClient = L"WebSocketsToClient";
const std::wstring PresentationClient = L"PresentationClient";
const std::wstring OdbcThinClient = L"OdbcThinClient";
const std::wstring VexaTcpIpConnection = L"VexaTcpIpConnection";
} // namespace ConnectionsSectionOptions

namespace ConnectionOptions {
const std::wstring UseEncryption = L"UseEncryption";
const std::wstring RequireClientAuthentication = L"RequireClientAuthentication";
const std::wstring ServerCertificateToSendName = L"ServerCertificateToSendName";
const std::wstring ClientCertificateToSendName = L"ClientCertificateToSendName";
const std::wstring AcceptableClientCertificateToReceiveNames =
    L"AcceptableClientCertificateToReceiveNames";
const std::wstring MinimumSeverityToLog = L"MinimumSeverityToLog";
const std::wstring InjectLogLayers = L"InjectLogLayers";
} // namespace ConnectionOptions

namespace InternalOnlyUtilityOptions {
const std::wstring ConnectionName = L"ConnectionName";
const std::wstring LibraryInvocationPurpose = L"LibraryInvocationPurpose";
} // namespace InternalOnlyUtilityOptions

namespace Values {
const std::wstring True = L"True";
const std::wstring False = L"False";
const std::wstring Opportunistically = L"Opportunistically";
const std::wstring Any = L"Any";
const std::wstring None = L"None";
const std::wstring SecureCommunication = L"SecureCommunication";
const std::wstring ListCertificates = L"ListCertificates";
const std::wstring SelectCertificateFromUI = L"SelectCertificateFromUI";
const std::wstring Warning = L"Warning";
const std::wstring Info = L"Info";
const std::wstring Debug = L"Debug";
} // namespace Values

namespace Defaults {
const std::wstring UseEncryption = Values::False;
const std::wstring RequireClientAuthentication = Values::False;
const std::wstring ServerCertificateToSendName = Values::Any;
const std::wstring ClientCertificateToSendName = Values::None;
const std::wstring AcceptableClientCertificateToReceiveNames = Values::Any;
const std::wstring MinimumSeverityToLog = Values::Info;
const std::wstring InjectLogLayers = Values::False;
const std::wstring ConnectionName = ConnectionsSectionOptions::Default;
const std::wstring LibraryInvocationPurpose = Values::SecureCommunication;
} // namespace Defaults

const OptionMap DefaultOptions = {
    {ConnectionOptions::UseEncryption, Defaults::UseEncryption},
    {ConnectionOptions::RequireClientAuthentication, Defaults::RequireClientAuthentication},
    {ConnectionOptions::ServerCertificateToSendName, Defaults::ServerCertificateToSendName},
    {ConnectionOptions::ClientCertificateToSendName, Defaults::ClientCertificateToSendName},
    {ConnectionOptions::AcceptableClientCertificateToReceiveNames,
     Defaults::AcceptableClientCertificateToReceiveNames},
    {ConnectionOptions::MinimumSeverityToLog, Defaults::MinimumSeverityToLog},
    {ConnectionOptions::InjectLogLayers, Defaults::InjectLogLayers},
    {InternalOnlyUtilityOptions::ConnectionName, Defaults::ConnectionName},
    {InternalOnlyUtilityOptions::LibraryInvocationPurpose, Defaults::LibraryInvocationPurpose},
};

const NameSet InternalConnectionNames = {
    ConnectionsSectionOptions::Default,
    ConnectionsSectionOptions::ClientToMox,
    ConnectionsSectionOptions::QLT,
    ConnectionsSectionOptions::VexaHttpToClient,
    ConnectionsSectionOptions::WebSocketsToClient,
    ConnectionsSectionOptions::PresentationClient,
    ConnectionsSectionOptions::OdbcThinClient,
    ConnectionsSectionOptions::VexaTcpIpConnection,
};

const NameSet ReservedConnectionNames = {
    ConnectionsSectionOptions::WebSocketsToClient,
    ConnectionsSectionOptions::PresentationClient,
    ConnectionsSectionOptions::VexaTcpIpConnection,
};

const NameSet FileUnreadableOptions = {
    InternalOnlyUtilityOptions::ConnectionName,
    InternalOnlyUtilityOptions::LibraryInvocationPurpose,
};

const NameSet SilentlyDefaultedOptions = {
    ConnectionOptions::InjectLogLayers,
    InternalOnlyUtilityOptions::ConnectionName,
    InternalOnlyUtilityOptions::LibraryInvocationPurpose,
};

} // namespace VexaSsl::ConfigurationDefinition
