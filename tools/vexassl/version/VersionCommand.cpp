#include "version/VersionCommand.h"

#include "VexaSsl/ModuleVersion.h"
#include "common/JsonLine.h"
#include "common/Output.h"
#include "common/PlatformFacts.h"

#include <memory>
#include <string>

namespace VexaSsl::tool {

namespace {

// The fourth number is in the field for a platform's number.
std::string libraryVersion() {
    DLLVERSIONINFO info{};
    info.cbSize = sizeof info;
    DllGetVersion(&info);
    return std::to_string(info.dwMajorVersion) + "." + std::to_string(info.dwMinorVersion) + "." +
           std::to_string(info.dwBuildNumber) + "." + std::to_string(info.dwPlatformID);
}

ExitStatus runVersion(bool json) {
    const PlatformFacts facts = platformFacts();
    if (json) {
        writeLine(JsonLine()
                      .text("type", "version")
                      .text("version", libraryVersion())
                      .text("platform", facts.binding)
                      .text("security", facts.securityLibrary)
                      .text("certificates", facts.certificates)
                      .str());
        return ExitStatus::Success;
    }
    writeLine("VexaSsl       " + libraryVersion());
    writeLine("platform      " + facts.binding);
    writeLine("security      " + facts.securityLibrary);
    writeLine("certificates  " + facts.certificates);
    return ExitStatus::Success;
}

} // namespace

Command versionCommand() {
    const auto json = std::make_shared<bool>(false);
    return {
        .name = "version",
        .summary = "Show the versions of the library, the platform and the TLS implementation",
        .flags = {{"--json", "", "Print a line of JSON", json.get()}},
        .examples = {{"vexassl version", "Shows what to write into a bug report"}},
        .notes = "",
        .run = [json] { return runVersion(*json); },
    };
}

} // namespace VexaSsl::tool
