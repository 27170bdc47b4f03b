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

// Linkers write a few dozen sections.
constexpr std::size_t mostSections = 4096;
constexpr std::size_t largestNames = 1 << 20;

// Result: false when the file doesn't hold that many bytes there.
bool readAt(const Descriptor& file, Elf64_Off offset, void* buffer, std::size_t size) {
    constexpr Elf64_Off furthest = 1ull << 62;
    std::size_t filled = 0;
    return offset < furthest && lseek(file.get(), static_cast<off_t>(offset), SEEK_SET) >= 0 &&
           readUpTo(file.get(), buffer, size, filled) && filled == size;
}

bool isUsable(const Elf64_Ehdr& header) {
    return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
           header.e_ident[EI_CLASS] == ELFCLASS64 && header.e_ident[EI_DATA] == ELFDATA2LSB &&
           header.e_shentsize == sizeof(Elf64_Shdr) && header.e_shnum <= mostSections &&
           header.e_shstrndx < header.e_shnum;
}

std::vector<Elf64_Shdr> readSections(const Descriptor& file, const Elf64_Ehdr& header) {
    std::vector<Elf64_Shdr> sections(header.e_shnum);
    if (!readAt(file, header.e_shoff, sections.data(), sections.size() * sizeof(Elf64_Shdr))) {
        return {};
    }
    return sections;
}

std::string readContent(const Descriptor& file, const Elf64_Shdr& section, std::size_t limit) {
    if (section.sh_size > limit || section.sh_type == SHT_NOBITS) {
        return {};
    }
    std::string content(section.sh_size, '\0');
    return readAt(file, section.sh_offset, content.data(), content.size()) ? content
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
    if (!file || !readAt(file, 0, &header, sizeof header) || !isUsable(header)) {
        return {};
    }
    const std::vector<Elf64_Shdr> sections = readSections(file, header);
    if (sections.empty()) {
        return {};
    }
    const std::string names = readContent(file, sections[header.e_shstrndx], largestNames);
    const auto found =
        std::find_if(sections.begin(), sections.end(), [&](const Elf64_Shdr& section) {
            return nameAt(names, section.sh_name) == name;
        });
    return found == sections.end() ? std::string() : readContent(file, *found, limit);
}

} // namespace VexaSsl::linux
