#include "config/StrategyOptions.h"

#include "fakes/CollectingLog.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>

namespace VexaSsl {
namespace {

using test::LogLine;

// Records the order in which its values are read.
class RecordingConfig : public IConfig {
public:
    std::wstring getValue(const std::wstring& key) const override {
        reads.push_back(key);
        const auto found = values.find(key);
        return found == values.end() ? std::wstring() : found->second;
    }
    void setValue(const std::wstring& key, const std::wstring& value) override {
        values[key] = value;
    }

    std::map<std::wstring, std::wstring> values = {{L"UseEncryption", L"False"},
                                                   {L"InjectLogLayers", L"False"},
                                                   {L"MinimumSeverityToLog", L"Info"}};
    mutable std::vector<std::wstring> reads;
};

class StrategyOptionsTest : public testing::Test {
protected:
    // The options made of config, or null when it was refused.
    std::unique_ptr<StrategyOptions> make() {
        try {
            return std::make_unique<StrategyOptions>(log, config);
        } catch (const std::out_of_range& refusal) {
            EXPECT_STREQ(refusal.what(), "invalid configuration");
            return nullptr;
        }
    }
    void expectRefusal(const std::wstring& line) {
        EXPECT_EQ(make(), nullptr);
        EXPECT_EQ(log.lines, (std::vector<LogLine>{{Severity::Error, line}}));
    }

    test::CollectingLog log;
    RecordingConfig config;
};

TEST_F(StrategyOptionsTest, allThreeAreReadFirstAndInOrder) {
    config.values[L"UseEncryption"] = L"bad";
    EXPECT_EQ(make(), nullptr);
    EXPECT_EQ(config.reads, (std::vector<std::wstring>{L"UseEncryption", L"InjectLogLayers",
                                                       L"MinimumSeverityToLog"}));
}

TEST_F(StrategyOptionsTest, defaultsMeanPlainAndInfo) {
    const auto options = make();
    EXPECT_FALSE(options->useEncryption);
    EXPECT_FALSE(options->opportunistic);
    EXPECT_FALSE(options->injectLogLayers);
    EXPECT_EQ(options->minimumSeverity, Severity::Info);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(StrategyOptionsTest, trueInAnyLetterCaseEncrypts) {
    for (const wchar_t* word : {L"true", L"TRUE", L"True", L"tRuE"}) {
        config.values[L"UseEncryption"] = word;
        const auto options = make();
        EXPECT_TRUE(options->useEncryption);
        EXPECT_FALSE(options->opportunistic);
    }
}

TEST_F(StrategyOptionsTest, opportunisticallyInCapitalsSetsBoth) {
    config.values[L"UseEncryption"] = L"OPPORTUNISTICALLY";
    const auto options = make();
    EXPECT_TRUE(options->useEncryption);
    EXPECT_TRUE(options->opportunistic);
}

TEST_F(StrategyOptionsTest, severitiesAreWordsForNumbers) {
    const std::pair<const wchar_t*, Severity> words[] = {
        {L"warning", Severity::Warning}, {L"INFO", Severity::Info}, {L"Debug", Severity::Debug}};
    for (const auto& [word, severity] : words) {
        config.values[L"MinimumSeverityToLog"] = word;
        EXPECT_EQ(make()->minimumSeverity, severity);
    }
}

TEST_F(StrategyOptionsTest, yesIsNoValueOfUseEncryption) {
    config.values[L"UseEncryption"] = L"Yes";
    expectRefusal(L"Supplied value [Yes] of UseEncryption is invalid");
}

TEST_F(StrategyOptionsTest, trailingSpaceIsNotTrimmed) {
    config.values[L"UseEncryption"] = L"True ";
    expectRefusal(L"Supplied value [True ] of UseEncryption is invalid");
}

TEST_F(StrategyOptionsTest, opportunisticallyIsNoValueOfInjectLogLayers) {
    config.values[L"InjectLogLayers"] = L"Opportunistically";
    expectRefusal(L"Supplied value [Opportunistically] of InjectLogLayers is invalid");
}

TEST_F(StrategyOptionsTest, errorAndFatalAreNoValuesOfMinimumSeverityToLog) {
    config.values[L"MinimumSeverityToLog"] = L"Fatal";
    expectRefusal(L"Supplied value [Fatal] of MinimumSeverityToLog is invalid");
    log.lines.clear();
    config.values[L"MinimumSeverityToLog"] = L"Error";
    expectRefusal(L"Supplied value [Error] of MinimumSeverityToLog is invalid");
}

TEST_F(StrategyOptionsTest, onlyTheFirstBadOptionIsLogged) {
    config.values[L"UseEncryption"] = L"bad";
    config.values[L"InjectLogLayers"] = L"worse";
    config.values[L"MinimumSeverityToLog"] = L"worst";
    expectRefusal(L"Supplied value [bad] of UseEncryption is invalid");
    log.lines.clear();
    config.values[L"UseEncryption"] = L"True";
    expectRefusal(L"Supplied value [worse] of InjectLogLayers is invalid");
}

} // namespace
} // namespace VexaSsl
