// What the library shows to a host: exactly the names that are meant for one, and constants that
// any kind of host reads.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::test {
namespace {

using ::testing::UnorderedElementsAreArray;

std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
    std::string output;
    std::array<char, 4096> buffer{};
    while (pipe && std::fgets(buffer.data(), buffer.size(), pipe.get()) != nullptr) {
        output += buffer.data();
    }
    return output;
}

// The names of an nm listing, without their addresses and kinds, and without the library version
// tag that some compilers put behind some of them.
std::vector<std::string> definedNames(const std::string& library) {
    std::istringstream listing(outputOf("nm -D --defined-only -C '" + library + "'"));
    std::vector<std::string> names;
    for (std::string line; std::getline(listing, line);) {
        std::string name = line.substr(line.find(' ', line.find(' ') + 1) + 1);
        constexpr std::string_view tag = "[abi:cxx11]";
        if (const std::size_t at = name.find(tag); at != std::string::npos) {
            name.erase(at, tag.size());
        }
        names.push_back(name);
    }
    return names;
}

TEST(Exports, theLibraryShowsWhatAHostNeedsAndNothingElse) {
    const std::string wide =
        "std::__cxx11::basic_string<wchar_t, std::char_traits<wchar_t>, std::allocator<wchar_t> >";
    const std::string narrow =
        "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >";
    const std::string words = "VexaSsl::ConfigurationDefinition::";
    const std::string connections = words + "ConnectionsSectionOptions::";
    EXPECT_THAT(
        definedNames(VEXASSL_LIBRARY),
        UnorderedElementsAreArray({
            "VexaSsl::constructDefaultSslConfiguration(VexaSsl::ILog&, " + wide + " const&)",
            "VexaSsl::constructSslConfigurationFromIniFile(VexaSsl::ILog&, "
            "std::filesystem::__cxx11::path const&, " +
                wide + " const&)",
            "VexaSsl::constructSslConfigurationFromSslConfigStore(VexaSsl::ILog&, "
            "std::filesystem::__cxx11::path const&, " +
                wide + " const&)",
            std::string("VexaSsl::instantiateSocketStrategy(VexaSsl::ILog&, VexaSsl::IConfig "
                        "const&)"),
            "VexaSsl::convertNarrowToWide(" + narrow + " const&)",
            "VexaSsl::convertWideToNarrow(" + wide + " const&)",
            words + "VexaSslSection",
            words + "VexaSslSectionOptions::ConfigurationStore",
            connections + "ClientToMox",
            connections + "QLT",
            connections + "VexaHttpToClient",
            connections + "WebSocketsToClient",
            connections + "PresentationClient",
            connections + "OdbcThinClient",
            connections + "VexaTcpIpConnection",
            words + "InternalOnlyUtilityOptions::ConnectionName",
            words + "InternalOnlyUtilityOptions::LibraryInvocationPurpose",
        }));
}

TEST(Exports, aPositionIndependentHostReadsTheConstants) {
    EXPECT_EQ(std::system(VEXASSL_MOVABLE_HOST), 0);
}

TEST(Exports, aHostAtAFixedAddressReadsTheConstants) {
    EXPECT_EQ(std::system(VEXASSL_FIXED_HOST), 0);
}

} // namespace
} // namespace VexaSsl::test
