#include "frame/Module.h"

#include "frame/ModuleVersion.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>

namespace VexaSsl {
extern const char moduleMarker[];
} // namespace VexaSsl

namespace VexaSsl::test {
namespace {

TEST(Module, recordNamesTheLibraryAndItsVersion) {
    EXPECT_STREQ(vexaSslModule.name, L"VexaSsl");
    EXPECT_STREQ(vexaSslModule.version, L"22.0.3.2");
}

TEST(Module, recordIsATableOfOperationsAndThreeFields) {
    EXPECT_TRUE(std::has_virtual_destructor_v<Module>);
    EXPECT_EQ(sizeof(Module), 4 * sizeof(void*));
    const auto* fields = reinterpret_cast<const void* const*>(&vexaSslModule);
    EXPECT_EQ(fields[1], vexaSslModule.name);
    EXPECT_EQ(fields[2], vexaSslModule.version);
    EXPECT_EQ(&fields[3], static_cast<const void*>(&vexaSslModule.moduleHandle));
}

TEST(Module, recordIsConstant) {
    EXPECT_TRUE(std::is_const_v<decltype(vexaSslModule)>);
    EXPECT_TRUE(std::is_const_v<decltype(moduleMarker)>);
}

TEST(Module, newRecordHasNoHandle) {
    const Module fresh(L"a", L"b");
    EXPECT_EQ(fresh.moduleHandle, nullptr);
}

TEST(Module, markerHasProductSystemNameVersionAndBuildTime) {
    const std::string marker = moduleMarker;
    const std::string start = "@(#)VEXA unicode on " VEXASSL_PLATFORM_TAG ", VexaSsl 22.0.3.2 ";
    ASSERT_EQ(marker.substr(0, start.size()), start);
    const std::string time = marker.substr(start.size());
    ASSERT_EQ(time.size(), std::string("Oct 16 2023 11:57:55").size());
    std::string shape = time;
    for (char& c : shape) {
        c = c >= '0' && c <= '9' ? '9' : c >= 'a' && c <= 'z' ? 'a' : c;
    }
    // A day below 10 has a space instead of its first digit.
    const std::string day = time[4] == ' ' ? " 9" : "99";
    EXPECT_EQ(shape, std::string(1, time[0]) + "aa " + day + " 9999 99:99:99");
}

} // namespace
} // namespace VexaSsl::test
