#include "check/UnreadSettings.h"

#include "common/NearestName.h"
#include "config/NameList.h"
#include "config/OptionChecks.h"
#include "config/Vocabulary.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace VexaSsl::tool {

namespace {

namespace Definition = ConfigurationDefinition;

constexpr std::size_t mostSought = 1000; // names

std::string suggestion(const std::optional<std::wstring>& known) {
    return known ? "; did you mean " + quotedFileText(*known) + "?" : "";
}

std::vector<std::wstring> readableOptions() {
    std::vector<std::wstring> names;
    for (const auto& [name, value] : Definition::DefaultOptions) {
        if (!Definition::FileUnreadableOptions.contains(name)) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

// In the order of the lines.
std::vector<const ParsedFile::Entry*> inOrder(const ParsedFile::Section& section) {
    std::vector<const ParsedFile::Entry*> entries;
    for (const auto& [key, entry] : section.entries) {
        entries.push_back(&entry);
    }
    std::sort(
        entries.begin(), entries.end(),
        [](const ParsedFile::Entry* a, const ParsedFile::Entry* b) { return a->line < b->line; });
    return entries;
}

class Review {
public:
    Review(const ParsedFile& file, FindingList& findings) : file(file), findings(findings) {}

    void warn(std::size_t line, const std::string& id, const std::string& text) {
        findings.add({Gravity::Warning, id, text, file.name(), line, ExitStatus::Warnings});
    }

    // Marks the sections in use.
    void connections() {
        const ParsedFile::Section* all = file.findSection(Definition::ConnectionsSection);
        if (all == nullptr) {
            warn(0, "no-connections",
                 "the store has no section [Connections], so no connection has any settings");
            return;
        }
        for (const ParsedFile::Entry* entry : inOrder(*all)) {
            connection(*entry);
        }
    }

    void options() {
        for (const ParsedFile::Section* section : file.allSections()) {
            if (used.contains(section->name)) {
                for (const ParsedFile::Entry* entry : inOrder(*section)) {
                    option(*section, *entry);
                }
            }
        }
    }

    void unusedSections(bool isIniFileToo) {
        for (const ParsedFile::Section* section : file.allSections()) {
            const bool pointsToStore = sameWord(section->name, Definition::VexaSslSection);
            if (used.contains(section->name) ||
                sameWord(section->name, Definition::ConnectionsSection) ||
                (pointsToStore && isIniFileToo)) {
                continue;
            }
            warn(section->line, "unused-section",
                 pointsToStore
                     ? "the section [VexaSsl] of a store is never read: no store leads to "
                       "another"
                     : "no entry of [Connections] leads to the section " +
                           quotedFileText(section->name));
        }
    }

private:
    void connection(const ParsedFile::Entry& entry) {
        used.insert(entry.value);
        if (Definition::ReservedConnectionNames.contains(entry.name)) {
            warn(entry.line, "reserved-name",
                 "the connection name " + quotedFileText(entry.name) +
                     " is reserved: its settings are not read, and it is not encrypted");
            return;
        }
        const ParsedFile::Section* section = file.findSection(entry.value);
        if (section == nullptr) {
            warn(entry.line, "missing-section",
                 quotedFileText(entry.name) + " leads to the section " +
                     quotedFileText(entry.value) +
                     ", which the file doesn't have: every option keeps its default, and nothing "
                     "is encrypted");
            return;
        }
        const ParsedFile::Entry* use =
            file.findEntry(entry.value, Definition::ConnectionOptions::UseEncryption);
        // The entry of Default applies to other names too.
        const bool isInternal =
            Definition::InternalConnectionNames.contains(entry.name) &&
            !sameWord(entry.name, Definition::ConnectionsSectionOptions::Default);
        if (isInternal && use != nullptr &&
            sameWord(use->value, Definition::Values::Opportunistically)) {
            warn(entry.line, "internal-name",
                 "the built-in connection name " + quotedFileText(entry.name) +
                     " can't be protected opportunistically, as line " + std::to_string(use->line) +
                     " wants: a start with it is refused");
        }
    }

    void option(const ParsedFile::Section& section, const ParsedFile::Entry& entry) {
        const std::string place = " in the section " + quotedFileText(section.name);
        if (Definition::FileUnreadableOptions.contains(entry.name)) {
            warn(entry.line, "internal-option",
                 quotedFileText(entry.name) + place +
                     " has no effect: only a program can set this option");
        } else if (!Definition::DefaultOptions.contains(entry.name)) {
            // The search takes time, and only the first findings are shown.
            const bool isSought = ++unknownOptions <= mostSought;
            warn(entry.line, "unknown-option",
                 quotedFileText(entry.name) + place + " is no option and never read" +
                     (isSought ? suggestion(nearestOption(entry.name)) : ""));
        } else if (sameWord(
                       entry.name,
                       Definition::ConnectionOptions::AcceptableClientCertificateToReceiveNames)) {
            clientNames(entry);
        }
    }

    // Names are compared exactly as they are between the commas.
    void clientNames(const ParsedFile::Entry& entry) {
        for (const std::wstring& name : splitNameList(entry.value)) {
            if (isSpace(name.front()) || isSpace(name.back()) || name.front() == L',') {
                warn(entry.line, "odd-client-name",
                     "the spaces or commas around the client name " + quotedFileText(name) +
                         " belong to it, so no certificate will have it");
            }
        }
    }

    static bool isSpace(wchar_t unit) { return unit == L' ' || unit == L'\t'; }

    const ParsedFile& file;
    FindingList& findings;
    NameSet used;
    std::size_t unknownOptions = 0;
};

} // namespace

std::optional<std::wstring> nearestOption(const std::wstring& name) {
    return nearestName(name, readableOptions());
}

std::string suggestedConnection(const ParsedFile& store, const std::wstring& name) {
    std::vector<std::wstring> names;
    if (const ParsedFile::Section* section = store.findSection(Definition::ConnectionsSection)) {
        for (const ParsedFile::Entry* entry : inOrder(*section)) {
            names.push_back(entry->name);
        }
    }
    names.resize(std::min(names.size(), mostSought));
    return suggestion(nearestName(name, names));
}

void findUnreadInIniSection(const ParsedFile& ini, FindingList& findings) {
    const ParsedFile::Section* section = ini.findSection(Definition::VexaSslSection);
    if (section == nullptr) {
        return;
    }
    const std::wstring& known = Definition::VexaSslSectionOptions::ConfigurationStore;
    for (const auto& [key, entry] : section->entries) {
        if (!sameWord(key, known)) {
            Review(ini, findings)
                .warn(entry.line, "unknown-option",
                      quotedFileText(entry.name) + " in the section [VexaSsl] is never read" +
                          suggestion(nearestName(entry.name, {known})));
        }
    }
}

void findUnreadInStore(const ParsedFile& store, bool isIniFileToo, FindingList& findings) {
    Review review(store, findings);
    review.connections();
    review.options();
    review.unusedSections(isIniFileToo);
}

} // namespace VexaSsl::tool
