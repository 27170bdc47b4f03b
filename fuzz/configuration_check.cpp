// The findings of the tool's check on an ini file and a store. The input: a line with the
// connection's name, the beginning of the ini file, a mark, and the store.
#include "Harness.h"

#include "check/ConfigurationTrace.h"
#include "check/EffectiveOptions.h"
#include "common/Text.h"
#include "config/ObservedConfiguration.h"
#include "config/SecureChannelOptions.h"
#include "config/StrategyOptions.h"
#include "config/Vocabulary.h"

#include <stdexcept>

namespace {

using namespace VexaSsl;
using fuzz::require;

void requireFindings(const tool::Findings& findings, const fuzz::MemoryFile& ini,
                     const fuzz::MemoryFile& store, std::size_t size) {
    constexpr std::size_t mostFindings = 500;
    constexpr std::size_t longestFinding = 5000;
    require(findings.size() <= mostFindings, "the number of findings is bounded");
    for (const tool::Finding& finding : findings) {
        require(!finding.id.empty() &&
                    tool::printableText(std::string_view(finding.text)) == finding.text,
                "a finding is printable");
        require(finding.text.size() <= longestFinding, "a finding is short");
        require(finding.file.empty() || finding.file == ini.path() || finding.file == store.path(),
                "a finding refers to one of the files");
        require(finding.line <= size + 3, "a finding refers to a line of the file");
    }
}

template <typename Options>
bool isRefused(const IConfig& config) {
    fuzz::StrictLog log;
    try {
        const Options options(log, config);
        return false;
    } catch (const std::out_of_range&) {
        return true;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile ini;
    static fuzz::MemoryFile store;
    fuzz::Input input(data, size);
    const std::wstring connection = tool::widenedBytes(input.takeTo('\n'));
    // The last section with a name counts, so no input can choose another store.
    ini.write(std::string(input.takeTo('\xFF')) +
              "\n[VexaSsl]\nConfigurationStore=" + store.path() + "\n");
    store.write(input.rest());

    fuzz::StrictLog log(size + 200);
    tool::ConfigurationTrace trace;
    const auto config = observedConfigurationFromIniFile(log, ini.path(), connection, trace);
    require(trace.storeFile() != nullptr && trace.unfitness().empty(), "both files were read");
    requireFindings(trace.findings(true), ini, store, size);
    const std::vector<tool::EffectiveOption> options = tool::effectiveOptions(*config, trace);
    require(options.size() == ConfigurationDefinition::DefaultOptions.size(),
            "every option is listed");
    for (const tool::EffectiveOption& option : options) {
        require(option.value == config->getValue(option.name),
                "the value shown is the one in effect");
    }
    const tool::Findings refused = tool::refusedValues(options);
    requireFindings(refused, ini, store, size);
    require(!refused.empty() ==
                (isRefused<StrategyOptions>(*config) || isRefused<SecureChannelOptions>(*config)),
            "exactly what the library refuses is a finding");
    return 0;
}
