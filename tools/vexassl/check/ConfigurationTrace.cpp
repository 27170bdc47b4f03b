#include "check/ConfigurationTrace.h"

#include "check/UnreadSettings.h"
#include "common/Text.h"
#include "config/Vocabulary.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace VexaSsl::tool {

namespace Definition = ConfigurationDefinition;

namespace {

const char* kindThatIsNoFile(const std::filesystem::path& path) {
    std::error_code ignored;
    switch (std::filesystem::status(path, ignored).type()) {
    case std::filesystem::file_type::directory:
        return "is a directory";
    case std::filesystem::file_type::character:
        // Some other devices never end.
        return std::filesystem::canonical(path, ignored) == "/dev/null" ? "" : "is a device";
    case std::filesystem::file_type::block:
        return "is a device";
    default:
        return "";
    }
}

} // namespace

void ConfigurationTrace::readingFile(const std::filesystem::path& path) {
    // One section of the ini file is read, any section of the store.
    files.emplace_back(path, files.empty() ? Definition::VexaSslSection : std::wstring());
    unfit = kindThatIsNoFile(path);
    if (!unfit.empty()) {
        throw std::runtime_error(unfit);
    }
}

void ConfigurationTrace::readLine(const ReadLine& line) {
    files.back().readLine(line);
}

// The queries for connection names precede those for the options: first for the connection's own
// entry, then, if that is empty, for Default.
void ConfigurationTrace::valueRequested(const std::wstring& section, const std::wstring& key,
                                        const std::wstring& value) {
    const bool asksForEntry =
        files.size() == 2 && sectionName.empty() && section == Definition::ConnectionsSection;
    if (asksForEntry) {
        ++entriesAsked;
        entryName = key;
        sectionName = value;
    }
}

bool ConfigurationTrace::isDefaultEntry() const {
    return entriesAsked > 1 && !sectionName.empty();
}

ConfigurationTrace::Origin ConfigurationTrace::origin(const ParsedFile* file,
                                                      const std::wstring& section,
                                                      const std::wstring& key) const {
    const ParsedFile::Entry* known = file == nullptr ? nullptr : file->findEntry(section, key);
    if (known == nullptr) {
        return {};
    }
    return {file->name(), file->findSection(section)->name, known->line};
}

ConfigurationTrace::Origin ConfigurationTrace::storePath() const {
    return origin(iniFile(), Definition::VexaSslSection,
                  Definition::VexaSslSectionOptions::ConfigurationStore);
}

ConfigurationTrace::Origin ConfigurationTrace::entry() const {
    return sectionName.empty() ? Origin()
                               : origin(storeFile(), Definition::ConnectionsSection, entryName);
}

ConfigurationTrace::Origin ConfigurationTrace::option(const std::wstring& name) const {
    if (sectionName.empty() || Definition::FileUnreadableOptions.contains(name)) {
        return {};
    }
    return origin(storeFile(), sectionName, name);
}

Findings ConfigurationTrace::findings(bool lastFileWasRead) const {
    if (files.empty()) {
        return {};
    }
    std::error_code ignored;
    const bool sameFile =
        files.size() == 2 && std::filesystem::equivalent(files[0].path(), files[1].path(), ignored);
    Findings findings = iniFindings(sameFile).shown();
    if (files.size() == 2 && lastFileWasRead) {
        FindingList list = files[1].findings();
        findUnreadInStore(files[1], sameFile, list);
        const Findings more = list.shown();
        findings.insert(findings.end(), more.begin(), more.end());
        std::erase_if(findings, [this](const Finding& finding) {
            return finding.id == "not-ascii" && isWorkingPath(finding);
        });
    }
    return findings;
}

// The store that was read has a path beyond ASCII: it works on this system.
bool ConfigurationTrace::isWorkingPath(const Finding& finding) const {
    const Origin path = storePath();
    return finding.file == path.file && finding.line == path.line;
}

// The lines of a file that is its own store are reported once.
FindingList ConfigurationTrace::iniFindings(bool isStoreToo) const {
    const ParsedFile& ini = files[0];
    FindingList findings = isStoreToo ? FindingList() : ini.findings();
    findUnreadInIniSection(ini, findings);
    if (files.size() == 2 && files[1].path().is_relative()) {
        std::error_code ignored;
        const auto here = std::filesystem::absolute(files[1].path(), ignored);
        findings.add({Gravity::Warning, "relative-store-path",
                      "the path of the store is relative, so it depends on the folder that a "
                      "program is started in; here it is [" +
                          printableText(pathText(here)) + "]",
                      ini.name(), storePath().line, ExitStatus::Warnings});
    }
    return findings;
}

} // namespace VexaSsl::tool
