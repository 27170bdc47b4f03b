#include "platform/linux/base/HostName.h"

#include "platform/linux/base/BoundedFile.h"

#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::linux {
namespace {

bool equalIgnoringCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() && strncasecmp(left.data(), right.data(), left.size()) == 0;
}

// Returns the words of a line up to its comment: an address and its names.
std::vector<std::string_view> wordsIn(std::string_view line) {
    constexpr std::string_view spaces = " \t\r";
    line = line.substr(0, line.find('#'));
    std::vector<std::string_view> words;
    for (std::size_t at = 0; (at = line.find_first_not_of(spaces, at)) != line.npos;) {
        const std::size_t end = std::min(line.find_first_of(spaces, at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

bool isLoopbackName(std::string_view name) {
    return equalIgnoringCase(name.substr(0, name.find('.')), "localhost");
}

// Removes the first line from text and returns it without its end.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

std::string systemHostName() {
    char name[256] = {};
    return gethostname(name, sizeof name - 1) == 0 ? name : "";
}

} // namespace

std::string canonicalNameIn(std::string_view hosts, std::string_view host) {
    while (!hosts.empty()) {
        const std::vector<std::string_view> words = wordsIn(takeLine(hosts));
        if (words.size() < 2) {
            continue;
        }
        const std::string_view canonical = words[1];
        const bool isHost = std::any_of(words.begin() + 1, words.end(), [host](auto name) {
            return equalIgnoringCase(name, host);
        });
        if (isHost && canonical.find('.') != canonical.npos && !isLoopbackName(canonical)) {
            return std::string(canonical);
        }
    }
    return {};
}

std::string fullyQualifiedHostName() {
    constexpr std::size_t hostsFileLimit = std::size_t{1} << 20;
    std::string host = systemHostName();
    if (host.empty() || host.find('.') != host.npos) {
        return host;
    }
    const std::string canonical = canonicalNameIn(readText("/etc/hosts", hostsFileLimit), host);
    return canonical.empty() ? host : canonical;
}

} // namespace VexaSsl::linux
