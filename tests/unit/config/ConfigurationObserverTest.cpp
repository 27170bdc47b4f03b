#include "config/ObservedConfiguration.h"

#include "VexaSsl/Configuration.h"
#include "fakes/CollectingLog.h"
#include "fakes/ScriptedPlatform.h"
#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace VexaSsl::test {
namespace {

// Records the notifications as texts.
class RecordingObserver : public IConfigurationObserver {
public:
    struct Line {
        std::size_t number;
        LineMeaning meaning;
        std::wstring section;
        std::wstring key;
        std::wstring value;

        bool operator==(const Line&) const = default;
    };
    using Request = std::tuple<std::wstring, std::wstring, std::wstring>;

    void readingFile(const std::filesystem::path& path) override {
        files.push_back(path);
        lines.clear();
    }
    void readLine(const ReadLine& line) override {
        lines.push_back({line.number, line.meaning, std::wstring(line.section),
                         std::wstring(line.key), std::wstring(line.value)});
        texts.push_back(line.text);
    }
    void valueRequested(const std::wstring& section, const std::wstring& key,
                        const std::wstring& value) override {
        requests.emplace_back(section, key, value);
    }

    std::vector<std::filesystem::path> files;
    std::vector<Line> lines; // of the last file
    std::vector<std::wstring> texts;
    std::vector<Request> requests;
};

class ConfigurationObserverTest : public testing::Test {
protected:
    // Reads an ini file that names a store with these bytes.
    std::unique_ptr<IConfig> read(const std::string& store) {
        storeFile = folder.write("store.ini", store);
        iniFile =
            folder.write("app.ini", "[VexaSsl]\nConfigurationStore=" + storeFile.string() + "\n");
        return observedConfigurationFromIniFile(log, iniFile, L"Tested", observer);
    }

    TemporaryFolder folder;
    ScriptedPlatform platform;
    CollectingLog log;
    RecordingObserver observer;
    std::filesystem::path iniFile;
    std::filesystem::path storeFile;
};

TEST_F(ConfigurationObserverTest, bothFilesAreReportedInTheOrderOfReading) {
    read("");
    EXPECT_EQ(observer.files, (std::vector<std::filesystem::path>{iniFile, storeFile}));
}

TEST_F(ConfigurationObserverTest, everyMeaningIsReportedWithItsLineNumberDroppedLinesFirst) {
    read("[S]\na=1\nnothing\n\nb=2\n=x\n" + std::string(20001, 'k') + "\n[T]\n");
    EXPECT_EQ(observer.lines, (std::vector<RecordingObserver::Line>{
                                  {3, LineMeaning::NoDelimiter, L"", L"", L""},
                                  {7, LineMeaning::TooLong, L"", L"", L""},
                                  {1, LineMeaning::Header, L"S", L"", L""},
                                  {2, LineMeaning::KeyAndValue, L"S", L"a", L"1"},
                                  {4, LineMeaning::Blank, L"", L"", L""},
                                  {5, LineMeaning::KeyAndValue, L"", L"b", L"2"},
                                  {6, LineMeaning::NoEffect, L"", L"", L""},
                                  {8, LineMeaning::Header, L"T", L"", L""},
                              }));
}

TEST_F(ConfigurationObserverTest, textOfALineIsReportedWhole) {
    read("[S] x=1\n");
    EXPECT_EQ(observer.texts.back(), L"[S] x=1");
}

TEST_F(ConfigurationObserverTest, requestsAreReportedWithTheirValues) {
    read("[Connections]\nTested=S\n[S]\nUseEncryption=True\n");
    ASSERT_GE(observer.requests.size(), 2U);
    EXPECT_EQ(observer.requests[0],
              (RecordingObserver::Request{L"VexaSsl", L"ConfigurationStore", storeFile.wstring()}));
    EXPECT_EQ(observer.requests[1], (RecordingObserver::Request{L"Connections", L"Tested", L"S"}));
    EXPECT_NE(std::find(observer.requests.begin(), observer.requests.end(),
                        RecordingObserver::Request{L"S", L"UseEncryption", L"True"}),
              observer.requests.end());
    EXPECT_NE(std::find(observer.requests.begin(), observer.requests.end(),
                        RecordingObserver::Request{L"S", L"InjectLogLayers", L""}),
              observer.requests.end());
    EXPECT_EQ(observer.requests.size(), 2U + 7U);
}

TEST_F(ConfigurationObserverTest, observerChangesNothing) {
    const auto observed = read("[Connections]\nTested=S\n[S]\nUseEncryption=Yes\nx\n\ny=z\n");
    CollectingLog plainLog;
    const auto plain = constructSslConfigurationFromIniFile(plainLog, iniFile, L"Tested");
    EXPECT_EQ(log.lines, plainLog.lines);
    EXPECT_EQ(observed->getValue(L"UseEncryption"), plain->getValue(L"UseEncryption"));
    EXPECT_EQ(observed->getValue(L"ConnectionName"), L"Tested");
}

TEST_F(ConfigurationObserverTest, missingFilesAreReportedAndFallBackToTheDefaults) {
    const auto config =
        observedConfigurationFromIniFile(log, folder.path("missing.ini"), L"Tested", observer);
    EXPECT_EQ(observer.files.size(), 1U);
    EXPECT_EQ(config->getValue(L"UseEncryption"), L"False");
    EXPECT_EQ(log.lines,
              (std::vector<LogLine>{{Severity::Warning, L"Can't open config file"},
                                    {Severity::Warning, L"Reverting to NO ENCRYPTION"}}));
}

} // namespace
} // namespace VexaSsl::test
