// Version records in sections of files, and the reader of sections, which accepts any file.
#include "VersionRecord.h"
#include "platform/contract/WindowsBase.h"
#include "platform/linux/base/FileSection.h"

#include <gtest/gtest.h>

#include <elf.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace VexaSsl::test {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view texts("FileVersion\0"
                                 "1.2.3.4\0"
                                 "Empty\0"
                                 "\0"
                                 "Odd\0",
                                 31);

std::string bytesOf(const void* data, std::size_t size) {
    return {static_cast<const char*>(data), size};
}

std::string record(std::string_view words = texts) {
    VersionRecordHeader head;
    head.size = static_cast<DWORD>(sizeof head + words.size());
    std::memcpy(head.translation, "040904E4", 9);
    head.fixed.dwSignature = VS_FFI_SIGNATURE;
    return bytesOf(&head, sizeof head) + std::string(words);
}

// The smallest file with one named section: header, section, names, table of sections.
struct ElfFile {
    Elf64_Ehdr header{};
    std::string section;
    std::string names =
        std::string("\0.names\0", 8) + VEXASSL_VERSION_SECTION + std::string(1, '\0');
    Elf64_Shdr sections[3] = {};

    explicit ElfFile(std::string content) : section(std::move(content)) {
        std::memcpy(header.e_ident, ELFMAG, SELFMAG);
        header.e_ident[EI_CLASS] = ELFCLASS64;
        header.e_ident[EI_DATA] = ELFDATA2LSB;
        header.e_shentsize = sizeof(Elf64_Shdr);
        header.e_shnum = 3;
        header.e_shstrndx = 1;
        sections[1].sh_name = 1;
        sections[1].sh_type = SHT_STRTAB;
        sections[2].sh_name = 8;
        sections[2].sh_type = SHT_PROGBITS;
        sections[2].sh_offset = sizeof header;
        sections[2].sh_size = section.size();
        sections[1].sh_offset = sizeof header + section.size();
        sections[1].sh_size = names.size();
        header.e_shoff = sections[1].sh_offset + names.size();
    }

    std::string bytes() const {
        return bytesOf(&header, sizeof header) + section + names +
               bytesOf(sections, sizeof sections);
    }
};

class VersionRecord : public ::testing::Test {
protected:
    VersionRecord()
        : path(fs::temp_directory_path() / ("vexassl-record-" + std::to_string(getpid()))) {}
    ~VersionRecord() override { fs::remove(path); }

    void write(const std::string& bytes) const { std::ofstream(path, std::ios::binary) << bytes; }

    std::string section() const {
        return linux::readSection(path.c_str(), VEXASSL_VERSION_SECTION, 4096);
    }

    DWORD size() const { return platform::GetFileVersionInfoSizeA(path.c_str(), nullptr); }

    std::vector<char> read() const {
        std::vector<char> block(size());
        EXPECT_NE(platform::GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(block.size()),
                                                block.data()),
                  FALSE);
        return block;
    }

    fs::path path;
};

std::string textOf(const std::vector<char>& block, const std::string& key) {
    void* value = nullptr;
    UINT length = 0;
    if (platform::VerQueryValueA(block.data(), key.c_str(), &value, &length) == FALSE) {
        return "(none)";
    }
    return std::string(static_cast<const char*>(value), length);
}

TEST_F(VersionRecord, sectionIsFoundByItsName) {
    write(ElfFile("content").bytes());
    EXPECT_EQ(section(), "content");
    EXPECT_EQ(linux::readSection(path.c_str(), ".other", 4096), "");
    EXPECT_EQ(linux::readSection(path.c_str(), VEXASSL_VERSION_SECTION, 6), "");
}

TEST_F(VersionRecord, truncatedFileHasNoSection) {
    const std::string whole = ElfFile("content").bytes();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        write(whole.substr(0, size));
        EXPECT_EQ(section(), "") << size;
    }
}

TEST_F(VersionRecord, everyByteOfTheFileMayBeWrong) {
    const std::string whole = ElfFile(record()).bytes();
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (const char value : {'\0', '\x7F', '\xFF'}) {
            std::string changed = whole;
            changed[place] = value;
            write(changed);
            if (size() != 0) {
                const std::vector<char> block = read();
                textOf(block, "\\StringFileInfo\\040904E4\\FileVersion");
                textOf(block, "\\StringFileInfo\\040904E4\\Odd");
            }
        }
    }
}

TEST_F(VersionRecord, folderAndPipeHaveNoSection) {
    EXPECT_EQ(linux::readSection("/", VEXASSL_VERSION_SECTION, 4096), "");
    EXPECT_EQ(linux::readSection("/dev/null", VEXASSL_VERSION_SECTION, 4096), "");
}

TEST_F(VersionRecord, textsAreFoundByWholeKeysOnly) {
    write(ElfFile(record()).bytes());
    const std::vector<char> block = read();
    const std::string prefix = "\\StringFileInfo\\040904E4\\";
    EXPECT_EQ(textOf(block, prefix + "FileVersion"), std::string("1.2.3.4\0", 8));
    EXPECT_EQ(textOf(block, prefix + "Empty"), std::string("\0", 1));
    EXPECT_EQ(textOf(block, prefix + "1.2.3.4"), "(none)");
    EXPECT_EQ(textOf(block, prefix + "Odd"), "(none)");
    EXPECT_EQ(textOf(block, "\\StringFileInfo\\00000000\\FileVersion"), "(none)");
    EXPECT_EQ(textOf(block, ""), "(none)");
}

TEST_F(VersionRecord, bytesAfterTheRecordAreIgnored) {
    write(ElfFile(record() + "padding").bytes());
    EXPECT_EQ(size(), record().size());
}

TEST_F(VersionRecord, recordWithUnterminatedTextsIsRefused) {
    write(ElfFile(record("FileVersion\0"
                         "1.2"))
              .bytes());
    EXPECT_EQ(size(), 0U);
}

TEST_F(VersionRecord, recordLargerThanItsSectionIsRefused) {
    std::string content = record();
    content.resize(content.size() - 1);
    write(ElfFile(content).bytes());
    EXPECT_EQ(size(), 0U);
}

TEST_F(VersionRecord, tooSmallBlockIsRefused) {
    write(ElfFile(record()).bytes());
    std::vector<char> block(size() - 1);
    EXPECT_EQ(platform::GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(block.size()),
                                            block.data()),
              FALSE);
    EXPECT_EQ(platform::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(LoadedLibrary, bareNameNamesLibrary) {
    EXPECT_NE(platform::LoadLibraryA("libc.so.6"), nullptr);
    EXPECT_EQ(platform::LoadLibraryA("c.so.6"), nullptr);
}

TEST(LoadedLibrary, functionsAreFoundByName) {
    const HMODULE library = platform::LoadLibraryA("libc.so.6");
    EXPECT_NE(platform::GetProcAddress(library, "getpid"), nullptr);
    EXPECT_EQ(platform::GetProcAddress(library, "vexassl_no_such_function"), nullptr);
    EXPECT_EQ(platform::GetProcAddress(nullptr, "getpid"), nullptr);
}

TEST(LoadedLibrary, fileNameIsThatOfTheLoader) {
    char name[4096] = {};
    const HMODULE library = platform::LoadLibraryA("libc.so.6");
    ASSERT_GT(platform::GetModuleFileNameA(library, name, sizeof name), 0U);
    EXPECT_EQ(fs::path(name).filename(), "libc.so.6");
    EXPECT_TRUE(fs::path(name).is_absolute());
}

} // namespace
} // namespace VexaSsl::test
