// A host that reads the exported constants. Exit status: 0 when all have the documented values.
// Built twice, position-independent and at a fixed address, since the two access a library's data
// differently.
#include "VexaSsl/ConfigurationDefinition.h"

#include <cstdio>
#include <string>

namespace {

int wrong = 0;

void expect(const std::wstring& constant, const wchar_t* text) {
    if (constant != text) {
        std::printf("expected \"%ls\", read \"%ls\"\n", text, constant.c_str());
        ++wrong;
    }
}

} // namespace

int main() {
    using namespace VexaSsl::ConfigurationDefinition;
    expect(VexaSslSection, L"VexaSsl");
    expect(VexaSslSectionOptions::ConfigurationStore, L"ConfigurationStore");
    expect(ConnectionsSectionOptions::ClientToMox, L"ClientToMox");
    expect(ConnectionsSectionOptions::QLT, L"QLT");
    expect(ConnectionsSectionOptions::VexaHttpToClient, L"VexaHttpToClient");
    expect(ConnectionsSectionOptions::WebSocketsToClient, L"WebSocketsToClient");
    expect(ConnectionsSectionOptions::PresentationClient, L"PresentationClient");
    expect(ConnectionsSectionOptions::OdbcThinClient, L"OdbcThinClient");
    expect(ConnectionsSectionOptions::VexaTcpIpConnection, L"VexaTcpIpConnection");
    expect(InternalOnlyUtilityOptions::ConnectionName, L"ConnectionName");
    expect(InternalOnlyUtilityOptions::LibraryInvocationPurpose, L"LibraryInvocationPurpose");
    return wrong;
}
