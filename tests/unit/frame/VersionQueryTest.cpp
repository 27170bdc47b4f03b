#include "VexaSsl/ModuleVersion.h"

#include "fakes/ScriptedPlatform.h"
#include "frame/Module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <tuple>

namespace VexaSsl::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Numbers = std::tuple<DWORD, DWORD, DWORD, DWORD>; // the last one is dwPlatformID

const std::string textPath = "\\StringFileInfo\\040904E4\\FileVersion";

// A file with a version record of 300 bytes. Tests remove parts of it.
class VersionQuery : public testing::Test {
protected:
    VersionQuery() {
        vexaSslModule.moduleHandle = reinterpret_cast<HMODULE>(&platform);
        platform.GetModuleFileNameA = [](HMODULE, char* buffer, DWORD) {
            std::memcpy(buffer, "C:\\VexaSsl.dll", 15);
            return DWORD{14};
        };
        platform.GetFileVersionInfoSizeA = [](const char*, DWORD* ignored) {
            *ignored = 0;
            return DWORD{300};
        };
        platform.GetFileVersionInfoA = [this](const char*, DWORD, DWORD size, void* data) {
            block = data;
            std::memset(data, 0, size); // all of it is writable
            return BOOL{TRUE};
        };
        platform.VerQueryValueA = [this](const void* data, const char* path, void** value,
                                         UINT* length) {
            EXPECT_EQ(data, block);
            paths.emplace_back(path);
            return paths.back() == "\\" ? giveFixed(value, length) : giveText(value, length);
        };
    }

    ~VersionQuery() override { vexaSslModule.moduleHandle = nullptr; }

    BOOL giveFixed(void** value, UINT* length) {
        if (!fixed) {
            return FALSE;
        }
        *value = &*fixed;
        *length = sizeof *fixed;
        return TRUE;
    }

    BOOL giveText(void** value, UINT* length) {
        EXPECT_EQ(paths.back(), textPath);
        if (!text) {
            return FALSE;
        }
        *value = text->data();
        *length = lengthOfText.value_or(static_cast<UINT>(text->size() + 1));
        return TRUE;
    }

    void setFixed(DWORD high, DWORD low) {
        fixed = VS_FIXEDFILEINFO{};
        fixed->dwSignature = 0xFEEF04BD;
        fixed->dwFileVersionMS = high;
        fixed->dwFileVersionLS = low;
    }

    Numbers query() {
        DLLVERSIONINFO info{};
        info.cbSize = sizeof info;
        EXPECT_EQ(DllGetVersion(&info), 0);
        EXPECT_EQ(info.cbSize, sizeof info);
        return {info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber, info.dwPlatformID};
    }

    Numbers queryText(const std::string& version) {
        setFixed(0, 0);
        text = version;
        return query();
    }

    ScriptedPlatform platform;
    std::optional<VS_FIXEDFILEINFO> fixed;
    std::optional<std::string> text;
    std::optional<UINT> lengthOfText; // that of the text with its zero unless given
    std::vector<std::string> paths;
    void* block = nullptr;
};

const Numbers builtIn{22, 0, 3, 2};

TEST_F(VersionQuery, nullIsRefused) {
    EXPECT_EQ(DllGetVersion(nullptr), -1);
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(VersionQuery, size19IsRefusedAndLeavesTheStructureAlone) {
    DLLVERSIONINFO info{19, 1, 2, 3, 4};
    const DLLVERSIONINFO before = info;
    EXPECT_EQ(DllGetVersion(&info), -1);
    EXPECT_EQ(std::memcmp(&info, &before, sizeof info), 0);
    EXPECT_THAT(platform.calls, IsEmpty());
}

TEST_F(VersionQuery, size20Succeeds) {
    setFixed(0x00160000, 0x00030002);
    DLLVERSIONINFO info{};
    info.cbSize = 20;
    EXPECT_EQ(DllGetVersion(&info), 0);
    EXPECT_EQ(info.dwMajorVersion, 22U);
}

TEST_F(VersionQuery, largerStructureOfALaterVersionIsTaken) {
    setFixed(0x00160000, 0x00030002);
    struct {
        DLLVERSIONINFO known{};
        DWORD added[3] = {7, 8, 9};
    } info;
    info.known.cbSize = sizeof info;
    EXPECT_EQ(DllGetVersion(&info.known), 0);
    EXPECT_THAT(info.added, ElementsAre(7U, 8U, 9U));
}

TEST_F(VersionQuery, fileNameIsThatOfTheModuleInRoomFor261Characters) {
    platform.GetModuleFileNameA = [this](HMODULE module, char* buffer, DWORD size) {
        EXPECT_EQ(module, reinterpret_cast<HMODULE>(&platform));
        EXPECT_EQ(size, 261U);
        std::memset(buffer, 'x', size - 1);
        buffer[size - 1] = '\0';
        return size;
    };
    platform.GetFileVersionInfoSizeA = [](const char* name, DWORD*) {
        EXPECT_EQ(std::string(name), std::string(260, 'x'));
        return DWORD{0};
    };
    EXPECT_EQ(query(), builtIn);
}

TEST_F(VersionQuery, fileNameThatIsCutWithoutItsEndIsNotReadBeyondIt) {
    platform.GetModuleFileNameA = [](HMODULE, char* buffer, DWORD size) {
        std::memset(buffer, 'x', size);
        return size;
    };
    platform.GetFileVersionInfoSizeA = [](const char* name, DWORD*) {
        EXPECT_EQ(std::string(name), std::string(261, 'x'));
        return DWORD{0};
    };
    EXPECT_EQ(query(), builtIn);
}

TEST_F(VersionQuery, missingFileNameLeavesTheBuiltInNumbers) {
    platform.GetModuleFileNameA = [](HMODULE, char*, DWORD) { return DWORD{0}; };
    EXPECT_EQ(query(), builtIn);
    EXPECT_THAT(platform.calls, ElementsAre("GetModuleFileNameA"));
}

TEST_F(VersionQuery, missingRecordLeavesTheBuiltInNumbers) {
    platform.GetFileVersionInfoSizeA = [](const char*, DWORD*) { return DWORD{0}; };
    EXPECT_EQ(query(), builtIn);
    EXPECT_THAT(platform.calls, ElementsAre("GetModuleFileNameA", "GetFileVersionInfoSizeA"));
}

TEST_F(VersionQuery, unreadableRecordLeavesTheBuiltInNumbersAndNoBlock) {
    platform.GetFileVersionInfoA = [](const char* name, DWORD, DWORD size, void* data) {
        EXPECT_STREQ(name, "C:\\VexaSsl.dll");
        EXPECT_EQ(size, 300U);
        EXPECT_NE(data, nullptr);
        return BOOL{FALSE};
    };
    EXPECT_EQ(query(), builtIn);
    EXPECT_THAT(platform.calls, ElementsAre("GetModuleFileNameA", "GetFileVersionInfoSizeA",
                                            "GetFileVersionInfoA"));
}

TEST_F(VersionQuery, fixedNumbersCountAndTheTextIsNotRead) {
    setFixed(0x00160000, 0x00030002);
    text = "1.1.1.1";
    EXPECT_EQ(query(), (Numbers{22, 0, 3, 2}));
    EXPECT_THAT(paths, ElementsAre("\\"));
    EXPECT_THAT(platform.calls, ElementsAre("GetModuleFileNameA", "GetFileVersionInfoSizeA",
                                            "GetFileVersionInfoA", "VerQueryValueA"));
}

TEST_F(VersionQuery, fourthFixedNumberLandsInThePlatformField) {
    setFixed(0xFFFE0007, 0x0005FFFD);
    EXPECT_EQ(query(), (Numbers{0xFFFE, 7, 5, 0xFFFD}));
}

TEST_F(VersionQuery, minorNumberAloneIsAVersion) {
    setFixed(0x00000001, 0x00020003);
    EXPECT_EQ(query(), (Numbers{0, 1, 2, 3}));
    EXPECT_THAT(paths, ElementsAre("\\"));
}

TEST_F(VersionQuery, wrongSignatureLeavesTheBuiltInNumbers) {
    setFixed(0x00010001, 0x00010001);
    fixed->dwSignature = 0xFEEF04BC;
    EXPECT_EQ(query(), builtIn);
    EXPECT_THAT(paths, ElementsAre("\\"));
}

TEST_F(VersionQuery, recordWithoutFixedNumbersLeavesTheBuiltInOnes) {
    text = "1.1.1.1";
    EXPECT_EQ(query(), builtIn);
    EXPECT_THAT(paths, ElementsAre("\\"));
}

TEST_F(VersionQuery, fixedVersion00LeadsToTheTextAndKeepsThePlatformField) {
    setFixed(0, 0x00090008);
    text = "22.0.3.2";
    EXPECT_EQ(query(), (Numbers{22, 0, 3, 8}));
    EXPECT_THAT(paths, ElementsAre("\\", textPath));
}

TEST_F(VersionQuery, recordWithoutTextKeepsTheFixedNumbersAndLeavesItsBlockUnreleased) {
    setFixed(0, 0x00090008);
    EXPECT_EQ(query(), (Numbers{0, 0, 9, 8}));
    // If the library had freed it too, this would be a double free.
    std::free(block);
}

TEST_F(VersionQuery, textMayUseAnySeparators) {
    EXPECT_EQ(queryText("1,20;300"), (Numbers{1, 20, 300, 0}));
}

TEST_F(VersionQuery, onlyOneSeparatorIsSkipped) {
    EXPECT_EQ(queryText("1..2"), (Numbers{1, 0, 2, 0}));
}

TEST_F(VersionQuery, numberWithoutADigitIs0AndCostsOneCharacter) {
    EXPECT_EQ(queryText("v7.8"), (Numbers{0, 7, 8, 0}));
}

TEST_F(VersionQuery, neighboursOfTheDigitsEndANumber) {
    EXPECT_EQ(queryText("1/2:3"), (Numbers{1, 2, 3, 0}));
}

TEST_F(VersionQuery, byteAbove127EndsANumber) {
    EXPECT_EQ(queryText("1\xB2"
                        "2\xFF"
                        "3"),
              (Numbers{1, 2, 3, 0}));
}

TEST_F(VersionQuery, numberIsBuiltUpIn32Bits) {
    EXPECT_EQ(queryText("4294967295.4294967296.4294967303"), (Numbers{0xFFFFFFFF, 0, 7, 0}));
}

TEST_F(VersionQuery, leadingZerosAreNoOctalNumber) {
    EXPECT_EQ(queryText("010.009.08"), (Numbers{10, 9, 8, 0}));
}

TEST_F(VersionQuery, bytesAfterAShortTextAreNotRead) {
    EXPECT_EQ(queryText("5"), (Numbers{5, 0, 0, 0}));
    EXPECT_EQ(queryText("5."), (Numbers{5, 0, 0, 0}));
    EXPECT_EQ(queryText(""), (Numbers{0, 0, 0, 0}));
}

TEST_F(VersionQuery, textEndsAtItsLength) {
    lengthOfText = 3;
    EXPECT_EQ(queryText("7.89"), (Numbers{7, 8, 0, 0}));
    EXPECT_EQ(queryText("7.8.9"), (Numbers{7, 8, 0, 0}));
}

TEST_F(VersionQuery, theEndOfATextInsideItIsASeparator) {
    EXPECT_EQ(queryText(std::string("5\0006.7", 5)), (Numbers{5, 6, 7, 0}));
}

TEST_F(VersionQuery, textIsRequestedOnce) {
    setFixed(0, 0);
    text = "0.0.0";
    EXPECT_EQ(query(), (Numbers{0, 0, 0, 0}));
    EXPECT_EQ(std::count(paths.begin(), paths.end(), textPath), 1);
}

} // namespace
} // namespace VexaSsl::test
