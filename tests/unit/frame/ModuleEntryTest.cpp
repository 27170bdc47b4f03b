#include "frame/ModuleEntry.h"

#include "fakes/ScriptedPlatform.h"
#include "frame/Module.h"

#include "VexaSsl/ModuleVersion.h"
#include "VexaSsl/VModuleVersion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <type_traits>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ModuleEntry : public testing::Test {
protected:
    ModuleEntry() { forget(); }
    ~ModuleEntry() override { forget(); }

    static void forget() {
        vexaSslModule.moduleHandle = nullptr;
        moduleInitialised = false;
    }

    // Two different addresses; the content is not read.
    HINSTANCE handle(int which) { return reinterpret_cast<HINSTANCE>(&places[which]); }

    ScriptedPlatform platform;
    char places[2] = {};
};

TEST_F(ModuleEntry, otherReasonsThanTheAttachmentOfTheProcessDoNothing) {
    constexpr DWORD others[] = {DLL_PROCESS_DETACH, DLL_THREAD_ATTACH, DLL_THREAD_DETACH, 4, 99};
    for (const DWORD reason : others) {
        EXPECT_EQ(DllMain(handle(0), reason, nullptr), 1);
    }
    EXPECT_THAT(platform.calls, IsEmpty());
    EXPECT_EQ(vexaSslModule.moduleHandle, nullptr);
    EXPECT_FALSE(moduleInitialised);
}

TEST_F(ModuleEntry, attachmentDeclinesThreadNoticesForItsHandle) {
    HMODULE declined = nullptr;
    platform.DisableThreadLibraryCalls = [&](HMODULE module) -> BOOL {
        declined = module;
        EXPECT_FALSE(moduleInitialised);
        return TRUE;
    };
    EXPECT_EQ(DllMain(handle(0), DLL_PROCESS_ATTACH, nullptr), 1);
    EXPECT_THAT(platform.calls, ElementsAre("DisableThreadLibraryCalls"));
    EXPECT_EQ(declined, handle(0));
}

TEST_F(ModuleEntry, attachmentStoresTheHandle) {
    platform.DisableThreadLibraryCalls = [](HMODULE) { return BOOL{TRUE}; };
    EXPECT_EQ(DllMain(handle(0), DLL_PROCESS_ATTACH, nullptr), 1);
    EXPECT_EQ(vexaSslModule.moduleHandle, handle(0));
    EXPECT_TRUE(moduleInitialised);
}

TEST_F(ModuleEntry, secondAttachmentDoesNotOverwriteTheHandle) {
    int declined = 0;
    platform.DisableThreadLibraryCalls = [&](HMODULE) {
        ++declined;
        return BOOL{TRUE};
    };
    DllMain(handle(0), DLL_PROCESS_ATTACH, nullptr);
    EXPECT_EQ(DllMain(handle(1), DLL_PROCESS_ATTACH, nullptr), 1);
    EXPECT_EQ(vexaSslModule.moduleHandle, handle(0));
    EXPECT_EQ(declined, 2);
}

TEST_F(ModuleEntry, noticesThatCannotBeDeclinedAreNoFailure) {
    platform.DisableThreadLibraryCalls = [](HMODULE) { return BOOL{FALSE}; };
    EXPECT_EQ(DllMain(handle(0), DLL_PROCESS_ATTACH, nullptr), 1);
    EXPECT_EQ(vexaSslModule.moduleHandle, handle(0));
}

TEST_F(ModuleEntry, nullHandleIsStoredLikeAnyOther) {
    platform.DisableThreadLibraryCalls = [](HMODULE) { return BOOL{TRUE}; };
    DllMain(nullptr, DLL_PROCESS_ATTACH, nullptr);
    DllMain(handle(1), DLL_PROCESS_ATTACH, nullptr);
    EXPECT_EQ(vexaSslModule.moduleHandle, nullptr);
}

TEST(ModuleVersionFunction, fourthNumberIsReturned) {
    EXPECT_EQ(moduleVersion_VexaSsl_22_0_3(), 2);
    EXPECT_TRUE((std::is_same_v<decltype(moduleVersion_VexaSsl_22_0_3()), std::int32_t>));
}

TEST(VModuleVersion, assignmentCopiesTheRecordAndGivesItsTarget) {
    const ::VModuleVersion source(-7);
    ::VModuleVersion target(3);
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target.getLastError(), -7);
    EXPECT_EQ(source.getLastError(), -7);
}

TEST(VModuleVersion, lastErrorIsSignedAndOf32Bits) {
    EXPECT_TRUE((std::is_same_v<decltype(::VModuleVersion().getLastError()), std::int32_t>));
    EXPECT_EQ(::VModuleVersion(INT32_MIN).getLastError(), INT32_MIN);
    EXPECT_EQ(::VModuleVersion().getLastError(), 0);
}

} // namespace
} // namespace VexaSsl::test
