#include "config/ConfigFileParser.h"

#include "fakes/CollectingLog.h"
#include "fakes/SmallStack.h"
#include "fakes/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cwchar>
#include <locale>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

using Lines = std::vector<LogLine>;

LogLine noDelimiter(const std::wstring& line) {
    return {Severity::Debug,
            L"Ignoring Configuration Store option because there's no delimiter: [" + line + L"]"};
}

// UTF-8 of one or two bytes a character.
class ShortUtf8 : public std::codecvt<wchar_t, char, std::mbstate_t> {
protected:
    result do_in(std::mbstate_t&, const char* from, const char* fromEnd, const char*& fromNext,
                 wchar_t* to, wchar_t* toEnd, wchar_t*& toNext) const override {
        for (fromNext = from, toNext = to; fromNext != fromEnd && toNext != toEnd; ++toNext) {
            const auto first = static_cast<unsigned char>(*fromNext);
            const std::ptrdiff_t size = first < 0x80 ? 1 : 2;
            if (first >= 0xE0) {
                return error;
            }
            if (fromEnd - fromNext < size) {
                return partial;
            }
            *toNext = size == 1 ? first
                                : static_cast<wchar_t>((first & 0x1F) << 6 | (fromNext[1] & 0x3F));
            fromNext += size;
        }
        return ok;
    }
    int do_encoding() const noexcept override { return 0; } // their number varies
    int do_max_length() const noexcept override { return 2; }
    bool do_always_noconv() const noexcept override { return false; }
};

// Sets a global locale with UTF-8 files during a test. It is composed, since no such locale has the
// same name on all systems.
class Utf8GlobalLocale {
public:
    Utf8GlobalLocale()
        : former(std::locale::global(std::locale(std::locale::classic(), new ShortUtf8))) {}
    ~Utf8GlobalLocale() { std::locale::global(former); }
    Utf8GlobalLocale(const Utf8GlobalLocale&) = delete;
    Utf8GlobalLocale& operator=(const Utf8GlobalLocale&) = delete;

private:
    std::locale former;
};

class ConfigFileParserTest : public testing::Test {
protected:
    ConfigFileParser parse(const std::string& bytes) {
        return {log, folder.write("store.ini", bytes)};
    }

    TemporaryFolder folder;
    CollectingLog log;
};

TEST_F(ConfigFileParserTest, fileThatCannotBeOpenedThrows) {
    try {
        const ConfigFileParser parser(log, folder.path("missing.ini"));
        FAIL() << "a missing file was opened";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "Can't open config file");
    }
}

TEST_F(ConfigFileParserTest, wideTextIsTakenAsAPath) {
    folder.write("store.ini", "[S]\nk=v\n");
    const ConfigFileParser parser(log, folder.path("store.ini").wstring());
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"v");
}

TEST_F(ConfigFileParserTest, pathThatIsNotTextIsOpened) {
    const ConfigFileParser parser(log, folder.write("store\xFF.ini", "[S]\nk=v\n"));
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"v");
}

TEST_F(ConfigFileParserTest, emptyFileAnswersEmptyTextToAnything) {
    const auto parser = parse("");
    EXPECT_EQ(parser.getValue(L"", L""), L"");
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ConfigFileParserTest, keyOfASectionIsFound) {
    const auto parser = parse("[Secure]\nUseEncryption=True\n");
    EXPECT_EQ(parser.getValue(L"Secure", L"UseEncryption"), L"True");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ConfigFileParserTest, missingKeyOfASectionIsEmpty) {
    EXPECT_EQ(parse("[S]\nk=v\n").getValue(L"S", L"other"), L"");
}

TEST_F(ConfigFileParserTest, missingSectionIsEmpty) {
    EXPECT_EQ(parse("[S]\nk=v\n").getValue(L"T", L"k"), L"");
}

TEST_F(ConfigFileParserTest, lastLineWithoutALineEndCounts) {
    EXPECT_EQ(parse("[S]\nk=v").getValue(L"S", L"k"), L"v");
}

TEST_F(ConfigFileParserTest, carriageReturnAndLineFeedEndALine) {
    const auto parser = parse("[S]\r\nk=v\r\n\r\nj=w\r\n");
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"v");
    EXPECT_EQ(parser.getValue(L"", L"j"), L"w");
}

TEST_F(ConfigFileParserTest, bytesAbove127WidenOneToOne) {
    EXPECT_EQ(parse("[S]\nk=\xC3\xA9\n").getValue(L"S", L"k"), L"\u00C3\u00A9");
}

TEST_F(ConfigFileParserTest, namesAreFoundInAnyLetterCase) {
    EXPECT_EQ(parse("[CONNECTIONS]\nDEFAULT=x\n").getValue(L"Connections", L"Default"), L"x");
}

TEST_F(ConfigFileParserTest, emptyLineEndsASection) {
    const auto parser = parse("[S]\n\nk=v\n");
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"");
    EXPECT_EQ(parser.getValue(L"", L"k"), L"v");
}

TEST_F(ConfigFileParserTest, keyBeforeTheFirstHeaderIsInTheSectionWithoutAName) {
    EXPECT_EQ(parse("k=v\n[S]\n").getValue(L"", L"k"), L"v");
}

TEST_F(ConfigFileParserTest, headerThatComesAgainInOtherLettersEmptiesItsSection) {
    const auto parser = parse("[ABC]\nk=v\n[abc]\nj=w\n");
    EXPECT_EQ(parser.getValue(L"ABC", L"k"), L"");
    EXPECT_EQ(parser.getValue(L"ABC", L"j"), L"w");
}

TEST_F(ConfigFileParserTest, keyThatComesAgainInOtherLettersTakesTheLaterValue) {
    const auto parser = parse("[S]\nKey=one\nkEY=two\n");
    EXPECT_EQ(parser.getValue(L"S", L"Key"), L"two");
    EXPECT_EQ(parser.getValue(L"S", L"kEY"), L"two");
}

TEST_F(ConfigFileParserTest, bracketInsideAHeaderBelongsToTheName) {
    EXPECT_EQ(parse("[a]b]\nk=v\n").getValue(L"a]b", L"k"), L"v");
}

TEST_F(ConfigFileParserTest, emptyBracketsAreNoHeader) {
    EXPECT_EQ(parse("[S]\n[]\nk=v\n").getValue(L"S", L"k"), L"v");
    EXPECT_EQ(log.lines, Lines{noDelimiter(L"[]")});
}

TEST_F(ConfigFileParserTest, spacesAreNotTrimmed) {
    EXPECT_EQ(parse("[S]\nk = v\n").getValue(L"S", L"k "), L" v");
}

TEST_F(ConfigFileParserTest, keyRunsToTheLastEqualsSign) {
    EXPECT_EQ(parse("[S]\na=b=c\n").getValue(L"S", L"a=b"), L"c");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ConfigFileParserTest, equalsSignAtTheEndIsTheValuesWhenAnotherStandsBefore) {
    EXPECT_EQ(parse("[S]\na=b=\n").getValue(L"S", L"a"), L"b=");
}

TEST_F(ConfigFileParserTest, semicolonWithoutADelimiterIsDropped) {
    parse(";comment\n");
    EXPECT_EQ(log.lines, Lines{noDelimiter(L";comment")});
}

TEST_F(ConfigFileParserTest, semicolonBeforeAKeyBelongsToTheKey) {
    EXPECT_EQ(parse("[S]\n;old=1\n").getValue(L"S", L";old"), L"1");
}

TEST_F(ConfigFileParserTest, lineOfSpacesIsDroppedAndEndsNoSection) {
    EXPECT_EQ(parse("[S]\n   \nk=v\n").getValue(L"S", L"k"), L"v");
    EXPECT_EQ(log.lines, Lines{noDelimiter(L"   ")});
}

TEST_F(ConfigFileParserTest, bracketsInAValueOpenASection) {
    const auto parser = parse("[S]\nkey=[x]\nj=w\n");
    EXPECT_EQ(parser.getValue(L"S", L"key"), L"");
    EXPECT_EQ(parser.getValue(L"x", L"j"), L"w");
}

TEST_F(ConfigFileParserTest, lineWithoutAKeyHasNoEffect) {
    const auto parser = parse("[S]\n=value\nk=v\n");
    EXPECT_EQ(parser.getValue(L"S", L""), L"");
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"v");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ConfigFileParserTest, lineWithoutAValueHasNoEffect) {
    EXPECT_EQ(parse("[S]\nkey=one\nkey=\n").getValue(L"S", L"key"), L"one");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ConfigFileParserTest, headerAfterASpaceIsDropped) {
    EXPECT_EQ(parse(" [Secure]\nk=v\n").getValue(L"Secure", L"k"), L"");
    EXPECT_EQ(log.lines, Lines{noDelimiter(L" [Secure]")});
}

TEST_F(ConfigFileParserTest, headerWithAKeyOnItsLineIsAHeaderOnly) {
    const auto parser = parse("[Secure] x=1\nk=v\n");
    EXPECT_EQ(parser.getValue(L"Secure", L"k"), L"v");
    EXPECT_EQ(parser.getValue(L"Secure", L"x"), L"");
    EXPECT_EQ(parser.getValue(L"Secure", L" x"), L"");
}

TEST_F(ConfigFileParserTest, byteOrderMarkMakesTheFirstHeaderALineWithoutDelimiter) {
    EXPECT_EQ(parse("\xEF\xBB\xBF[S]\nk=v\n").getValue(L"S", L"k"), L"");
    EXPECT_EQ(log.lines, Lines{noDelimiter(L"\u00EF\u00BB\u00BF[S]")});
}

TEST_F(ConfigFileParserTest, headerAfterAByteOrderMarkIsFoundWhenItsLineHasADelimiter) {
    EXPECT_EQ(parse("\xEF\xBB\xBF[S]=\nk=v\n").getValue(L"S", L"k"), L"v");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(ConfigFileParserTest, lineOf20000CharactersIsKept) {
    const std::string value(19998, 'v');
    EXPECT_EQ(parse("[S]\nk=" + value + "\n").getValue(L"S", L"k"), std::wstring(19998, L'v'));
}

TEST_F(ConfigFileParserTest, lineOf20001CharactersIsDroppedWithOneLineOnly) {
    const std::string line = "k=" + std::string(19999, 'v');
    EXPECT_EQ(parse("[S]\n" + line + "\n").getValue(L"S", L"k"), L"");
    EXPECT_EQ(log.lines, (Lines{{Severity::Debug,
                                 L"Ignoring Configuration Store option because it's too long: [" +
                                     std::wstring(line.begin(), line.end()) + L"]"}}));
}

TEST_F(ConfigFileParserTest, linesOfEveryKindWith20000CharactersAreReadOnASmallStack) {
    const std::string name(19998, 'n');
    const auto path = folder.write(
        "store.ini", std::string(20000, '[') + "\n" + std::string(20000, ' ') + "\n" +
                         std::string(20000, '=') + "\n[" + name + "]\n" + std::string(19998, 'k') +
                         "=v\n" + "k=" + std::string(19998, '[') + "\n");
    runOnSmallStack([this, &path] {
        const ConfigFileParser parser(log, path);
        const std::wstring section(19998, L'n');
        EXPECT_EQ(parser.getValue(L"", std::wstring(19998, L'=')), L"=");
        EXPECT_EQ(parser.getValue(section, std::wstring(19998, L'k')), L"v");
        EXPECT_EQ(parser.getValue(section, L"k"), std::wstring(19998, L'['));
    });
    EXPECT_EQ(log.lines.size(), 2U);
}

TEST_F(ConfigFileParserTest, carriageReturnInsideALineEndsNeitherTheLineNorTheSection) {
    const auto parser = parse("[S]\nlost\rk=v\nj=w\n");
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"v");
    EXPECT_EQ(parser.getValue(L"S", L"j"), L"w");
}

TEST_F(ConfigFileParserTest, readErrorEndsTheFileAndWhatWasReadCounts) {
    const Utf8GlobalLocale utf8;
    const auto parser = parse("[S]\nk=v\nbroken=\xFF\nj=w\n");
    EXPECT_EQ(parser.getValue(L"S", L"k"), L"v");
    EXPECT_EQ(parser.getValue(L"S", L"broken"), L"");
    EXPECT_EQ(parser.getValue(L"S", L"j"), L"");
}

TEST_F(ConfigFileParserTest, localeOfTheHostConvertsTheFile) {
    const Utf8GlobalLocale utf8;
    EXPECT_EQ(parse("[S]\nk=\xC3\xA9\n").getValue(L"S", L"k"), L"\u00E9");
}

TEST_F(ConfigFileParserTest, headerIsTestedOnTheWholeLine) {
    EXPECT_TRUE(ConfigFileParser::isSectionHeader(L"[S]"));
    EXPECT_FALSE(ConfigFileParser::isSectionHeader(L" [S]"));
    EXPECT_FALSE(ConfigFileParser::isSectionHeader(L"[S] x=1"));
    EXPECT_FALSE(ConfigFileParser::isSectionHeader(L"[]"));
}

TEST_F(ConfigFileParserTest, onlyALineWithoutCharactersIsEmpty) {
    EXPECT_TRUE(ConfigFileParser::isBlankLine(L""));
    EXPECT_FALSE(ConfigFileParser::isBlankLine(L" "));
    EXPECT_FALSE(ConfigFileParser::isBlankLine(L"\t"));
}

} // namespace
} // namespace VexaSsl::test
