#include "platform/linux/base/FileSection.h"

#include "platform/linux/base/BoundedFile.h"

#include <elf.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::linux {
namespace {

// Linkers write a few dozen sections, whose names take a few hundred bytes.
constexpr std::size_t maxSections = 4096;
constexpr std::size_t maxNamesSize = std::size_t{1} << 20;

// Returns false when the file doesn't have size bytes at offset.
bool readAt(const Descriptor& file, Elf64_Off offset, void* buffer, std::size_t size) {
    constexpr Elf64_Off maxOffset = 1ull << 62;
    std::size_t filled = 0;
    return offset < maxOffset && lseek(file.get(), static_cast<off_t>(offset), SEEK_SET) >= 0 &&
           readUpTo(file.get(), buffer, size, filled) && filled == size;
}

bool isSupported(const Elf64_Ehdr& header) {
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
           header.e_ident[EI_CLASS] == ELFCLASS64 && header.e_ident[EI_DATA] == ELFDATA2LSB &&
           header.e_shentsize == sizeof(Elf64_Shdr) && header.e_shnum <= maxSections &&
           header.e_shstrndx < header.e_shnum;
}

std::vector<Elf64_Shdr> readSections(const Descriptor& file, const Elf64_Ehdr& header) {
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (!readAt(file, header.e_shoff, sections.data(), sections.size() * sizeof(Elf64_Shdr))) {
        return {};
    }
    return sections;
}

std::string readContents(const Descriptor& file, const Elf64_Shdr& section, std::size_t limit) {
    if (section.sh_size > limit || section.sh_type == SHT_NOBITS) {
        return {};
    }
    std::string contents(section.sh_size, '\0');
    return readAt(file, section.sh_offset, contents.data(), contents.size()) ? contents
                                                                             : std::string();
}

std::string_view nameAt(std::string_view names, std::size_t offset) {
    if (offset >= names.size()) {
        return {};
    }
    const std::string_view rest = names.substr(offset);
    return rest.substr(0, rest.find('\0'));
}

} // namespace

std::string readSection(const char* path, std::string_view name, std::size_t limit) {
    const Descriptor file = openForReading(path);
    Elf64_Ehdr header{};
    if (!file || !readAt(file, 0, &header, sizeof header) || !isSupported(header)) {
        return {};
    }
    const std::vector<Elf64_Shdr> sections = readSections(file, header);
    if (sections.empty()) {
        return {};
    }
    const std::string names = readContents(file, sections[header.e_shstrndx], maxNamesSize);
    const auto found =
        std::find_if(sections.begin(), sections.end(), [&](const Elf64_Shdr& section) {
            return nameAt(names, section.sh_name) == name;
        });
    return found == sections.end() ? std::string() : readContents(file, *found, limit);
}

} // namespace VexaSsl::linux
