// The library loaded at run time: its functions are looked up, and its version record is read by
// the system's calls. Copies of the file have other version records, which distinguishes the
// numbers read from those built in.
#include "TestedLibrary.h"

#include "frame/ModuleVersion.h"
#include "platform/contract/WindowsBase.h"

#include "VexaSsl/ModuleVersion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace VexaSsl::test {
namespace {

namespace fs = std::filesystem;

using Numbers = std::tuple<DWORD, DWORD, DWORD, DWORD>;

template <class Function>
Function lookUp(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void (*)()>(platform::GetProcAddress(library, name)));
}

using VersionQuery = HRESULT (*)(DLLVERSIONINFO*);

Numbers versionOf(HMODULE library) {
    const auto query = lookUp<VersionQuery>(library, "DllGetVersion");
    DLLVERSIONINFO info{};
    info.cbSize = sizeof info;
    if (query == nullptr || query(&info) != 0) {
        ADD_FAILURE() << "no version";
        return {};
    }
    return {info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber, info.dwPlatformID};
}

std::string fileOf(HMODULE library) {
    char name[1024] = {};
    EXPECT_GT(platform::GetModuleFileNameA(library, name, sizeof name), 0U);
    return name;
}

class Identity : public testing::Test {
protected:
    Identity() : library(platform::LoadLibraryA(testedLibrary())) {}

    void SetUp() override { ASSERT_NE(library, nullptr) << testedLibrary(); }

    HMODULE library;
};

TEST_F(Identity, versionIs22032) {
    EXPECT_EQ(versionOf(library), (Numbers{22, 0, 3, 2}));
}

TEST_F(Identity, versionQueryRefusesATooSmallStructure) {
    const auto query = lookUp<VersionQuery>(library, "DllGetVersion");
    DLLVERSIONINFO info{19, 1, 2, 3, 4};
    EXPECT_EQ(query(&info), -1);
    EXPECT_EQ(info.dwMajorVersion, 1U);
    EXPECT_EQ(query(nullptr), -1);
}

TEST_F(Identity, versionFunctionReturnsTheFourthNumber) {
    const auto number = lookUp<std::int32_t (*)()>(library, "moduleVersion_VexaSsl_22_0_3");
    ASSERT_NE(number, nullptr);
    EXPECT_EQ(number(), 2);
}

TEST_F(Identity, entryPointAcceptsEveryReason) {
    using Entry = BOOL (*)(HINSTANCE, DWORD, void*);
    const auto entry = lookUp<Entry>(library, "DllMain");
    ASSERT_NE(entry, nullptr);
    constexpr DWORD notices[] = {DLL_THREAD_ATTACH, DLL_THREAD_DETACH, DLL_PROCESS_ATTACH};
    for (const DWORD notice : notices) {
        EXPECT_EQ(entry(nullptr, notice, nullptr), 1);
    }
    // The handle of the first attachment is still used for the library's file.
    EXPECT_EQ(versionOf(library), (Numbers{22, 0, 3, 2}));
}

// The version record of a file, read by the system's calls.
class Record {
public:
    explicit Record(const std::string& file) {
        DWORD ignored = 1;
        block.resize(platform::GetFileVersionInfoSizeA(file.c_str(), &ignored));
        EXPECT_EQ(ignored, 0U);
        if (!block.empty() &&
            platform::GetFileVersionInfoA(file.c_str(), 0, static_cast<DWORD>(block.size()),
                                          block.data()) == FALSE) {
            block.clear();
        }
    }

    bool isThere() const { return !block.empty(); }

    std::optional<VS_FIXEDFILEINFO> fixed() const {
        void* value = nullptr;
        UINT length = 0;
        if (platform::VerQueryValueA(block.data(), "\\", &value, &length) == FALSE ||
            length != sizeof(VS_FIXEDFILEINFO)) {
            return std::nullopt;
        }
        return *static_cast<const VS_FIXEDFILEINFO*>(value);
    }

    std::string text(const std::string& key) const {
        void* value = nullptr;
        UINT length = 0;
        const std::string path = "\\StringFileInfo\\040904E4\\" + key;
        if (platform::VerQueryValueA(block.data(), path.c_str(), &value, &length) == FALSE) {
            return "(none)";
        }
        const std::string found = static_cast<const char*>(value);
        EXPECT_EQ(length, found.size() + 1) << key;
        return found;
    }

private:
    std::vector<char> block;
};

TEST_F(Identity, recordHasEveryText) {
    const Record record(fileOf(library));
    ASSERT_TRUE(record.isThere());
    EXPECT_EQ(record.text("Build Type"), VEXASSL_PLATFORM_TAG "-ansi release build");
    EXPECT_EQ(record.text("FileDescription"), "VEXA SSL library");
    EXPECT_EQ(record.text("FileVersion"), "22.0.3.2");
    EXPECT_EQ(record.text("InternalName"), "VexaSsl");
    EXPECT_EQ(record.text("OriginalFilename"), VEXASSL_FILE_NAME);
    EXPECT_EQ(record.text("ProductName"), "VEXA");
    EXPECT_EQ(record.text("ProductVersion"), "22.0.3.2");
    EXPECT_EQ(record.text("CompanyName"), "(none)");
}

TEST_F(Identity, recordHasTheFileAndProductVersion) {
    const Record record(fileOf(library));
    ASSERT_TRUE(record.isThere());
    const auto fixed = record.fixed();
    ASSERT_TRUE(fixed.has_value());
    EXPECT_EQ(fixed->dwSignature, 0xFEEF04BDU);
    EXPECT_EQ(fixed->dwStrucVersion, 0x00010000U);
    EXPECT_EQ(fixed->dwFileVersionMS, 0x00160000U);
    EXPECT_EQ(fixed->dwFileVersionLS, 0x00030002U);
    EXPECT_EQ(fixed->dwProductVersionMS, 0x00160000U);
    EXPECT_EQ(fixed->dwProductVersionLS, 0x00030002U);
    EXPECT_EQ(fixed->dwFileFlagsMask, 0x3FU);
    EXPECT_EQ(fixed->dwFileFlags, 2U);
    EXPECT_EQ(fixed->dwFileOS, 4U);
    EXPECT_EQ(fixed->dwFileType, 1U);
    EXPECT_EQ(fixed->dwFileSubtype, 0U);
    EXPECT_EQ(fixed->dwFileDateMS, 0U);
    EXPECT_EQ(fixed->dwFileDateLS, 0U);
}

TEST_F(Identity, fileWithoutAVersionRecordGivesNone) {
    EXPECT_FALSE(Record("no such file").isThere());
    EXPECT_FALSE(Record(fileOf(nullptr)).isThere());
}

// A copy of the library's file with another version in its record, loaded in addition to the
// original.
class ChangedCopy : public Identity {
protected:
    ~ChangedCopy() override {
        std::error_code ignored; // Windows can't remove a loaded file
        fs::remove(copy, ignored);
    }

    HMODULE load(const std::string& name, DWORD high, DWORD low) {
        std::string bytes = contentOf(fileOf(library));
        const std::size_t place = bytes.find(std::string("\xBD\x04\xEF\xFE\0\0\1\0", 8));
        EXPECT_NE(place, std::string::npos);
        std::memcpy(bytes.data() + place + 8, &high, sizeof high);
        std::memcpy(bytes.data() + place + 12, &low, sizeof low);
        copy = fs::path(VEXASSL_SCRATCH) / (name + "-VexaSsl.dll");
        std::ofstream(copy, std::ios::binary)
            .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        return platform::LoadLibraryA(copy.string().c_str());
    }

    static std::string contentOf(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    fs::path copy;
};

TEST_F(ChangedCopy, recordHasPrecedenceOverTheBuiltInNumbers) {
    const HMODULE changed = load("numbers", 0x00090008, 0x00070006);
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(versionOf(changed), (Numbers{9, 8, 7, 6}));
    EXPECT_EQ(versionOf(library), (Numbers{22, 0, 3, 2}));
}

TEST_F(ChangedCopy, textOfTheRecordIsUsedWhenItsNumbersAre00) {
    const HMODULE changed = load("text", 0, 0x00070006);
    ASSERT_NE(changed, nullptr);
    EXPECT_EQ(versionOf(changed), (Numbers{22, 0, 3, 6}));
}

} // namespace
} // namespace VexaSsl::test
