// Host names: the hosts file and the name that a client requires; and the tool's arguments for
// addresses, times and periods. The first line of the input is a name.
#include "Harness.h"

#include "certificates/UtcTime.h"
#include "common/ExitStatus.h"
#include "common/HostNetwork.h"
#include "platform/linux/base/HostName.h"
#include "platform/openssl/stores/TargetName.h"

namespace {

using namespace VexaSsl;
using fuzz::require;

template <typename Read>
void readArgument(Read read) {
    try {
        read();
    } catch (const tool::Failure& failure) {
        require(failure.status == tool::ExitStatus::Usage, "an invalid argument is a usage error");
    }
}

void readArguments(const std::string& text) {
    readArgument([&] {
        const tool::Endpoint endpoint = tool::parseEndpoint(text);
        require(!endpoint.port.empty(), "an endpoint has a port");
        const tool::Endpoint again = tool::parseEndpoint(endpoint.text());
        require(again.host == endpoint.host && again.port == endpoint.port,
                "an endpoint is parsed as it is printed");
    });
    readArgument([&] {
        const tool::UtcTime moment = tool::parseUtcTime(text);
        require(text.starts_with('+') ||
                    tool::parseUtcTime(tool::utcTextForScripts(moment)) == moment,
                "a time is parsed as it is printed");
    });
    readArgument([&] { require(tool::parseDays(text) >= 0, "a period is not negative"); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::string name(input.takeTo('\n'));
    const std::string hosts(input.rest());
    const std::string found = linux::canonicalNameIn(hosts, name);
    require(found.empty() ||
                (found.find('.') != std::string::npos && hosts.find(found) != std::string::npos),
            "a canonical name is in the file and has a dot");

    const auto target = openssl::TargetName::parse(fuzz::wideText(name).c_str());
    const bool startsLikeOne =
        !name.empty() && name.find_first_of(std::string_view(".[\0", 3)) != 0;
    const bool maySpellAddress = !name.empty() && name[0] >= '0' && name[0] <= '9';
    require(target.has_value() || !startsLikeOne || maySpellAddress,
            "a text is a name unless it is empty, begins with a dot or bracket or is an unusual "
            "address");
    readArguments(name);
    return 0;
}
