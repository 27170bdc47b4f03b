// Everything that the format of the files drops or reads differently from its look, reported with
// file and line.
#include "tool/Checked.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace VexaSsl::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string connections = "[Connections]\nTested=Secure\n";

TEST(CheckFindings, correctFilesHaveNone) {
    const Configured files(connections +
                           "\n[Secure]\nUseEncryption=True\n"
                           "ServerCertificateToSendName=" +
                           pki::localhost + "\n");
    const Outcome outcome = checked(files.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
}

TEST(CheckFindings, emptyLineInsideASectionIsReported) {
    const Configured files(connections + "[Secure]\nInjectLogLayers=True\n\nUseEncryption=True\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(linesWith(outcome, "blank-line-in-section", files.store), ElementsAre(5));
    EXPECT_THAT(firstFinding(outcome, "blank-line-in-section"), HasSubstr("[Secure] of line 3"));
    EXPECT_THAT(linesWith(outcome, "key-outside-section", files.store), ElementsAre(6));
}

TEST(CheckFindings, emptyLineInsideASectionFailsUnderStrict) {
    const Configured files(connections + "[Secure]\nInjectLogLayers=True\n\nUseEncryption=True\n");
    const Outcome outcome = checked(files.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 20) << outcome.errors;
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
}

TEST(CheckFindings, emptyLineBetweenSectionsIsNoFault) {
    const Configured files(connections + "\n\n[Secure]\nInjectLogLayers=True\n\n");
    EXPECT_THAT(findings(checked(files.ini), "blank-line-in-section"), IsEmpty());
}

TEST(CheckFindings, emptyLineInTheIniFileLosesTheStore) {
    const auto ini = fileHolding("[VexaSsl]\n\nConfigurationStore=/tmp/x\n");
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1) << outcome.errors;
    EXPECT_THAT(linesWith(outcome, "blank-line-in-section", ini), ElementsAre(2));
    EXPECT_THAT(findings(outcome, "no-store"), testing::SizeIs(1));
}

TEST(CheckFindings, keyBeforeTheFirstSectionIsReported) {
    const Configured files("UseEncryption=True\n" + connections + "[Secure]\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "key-outside-section", files.store), ElementsAre(1));
    EXPECT_THAT(findings(outcome, "blank-line-in-section"), IsEmpty());
}

TEST(CheckFindings, lineWithoutDelimiterIsReported) {
    const Configured files(connections + "[Secure]\n; a comment\n   \n [Secure]\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "no-delimiter", files.store), ElementsAre(4, 5, 6));
}

TEST(CheckFindings, tooLongLineIsReported) {
    const std::string key = "k=";
    const Configured files(connections + "[Secure]\n" + key + std::string(19998, 'v') + "\n" + key +
                           std::string(19999, 'v') + "\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "line-too-long", files.store), ElementsAre(5));
    EXPECT_THAT(firstFinding(outcome, "line-too-long"), HasSubstr("a line of 20001 characters"));
}

TEST(CheckFindings, lineWithoutEffectIsReported) {
    const Configured files(connections + "[Secure]\n=value\nkey=\n");
    EXPECT_THAT(linesWith(checked(files.ini), "no-effect", files.store), ElementsAre(4, 5));
}

TEST(CheckFindings, unknownOptionIsReportedWithTheNearestKnownOne) {
    const Configured files(connections +
                           "[Secure]\nUseEncription=True\nServerCertificateName=a\nColour=red\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "unknown-option", files.store), ElementsAre(4, 5, 6));
    EXPECT_THAT(findings(outcome, "unknown-option"),
                ElementsAre(HasSubstr("did you mean [UseEncryption]?"),
                            HasSubstr("did you mean [ServerCertificateToSendName]?"),
                            testing::Not(HasSubstr("did you mean"))));
}

TEST(CheckFindings, unknownKeyInTheIniFileIsReported) {
    const auto ini = fileHolding("[VexaSsl]\nConfigurationStor=/tmp/x\n");
    const Outcome outcome = checked(ini);
    EXPECT_THAT(linesWith(outcome, "unknown-option", ini), ElementsAre(2));
    EXPECT_THAT(outcome.errors, HasSubstr("did you mean [ConfigurationStore]?"));
}

TEST(CheckFindings, sectionDefinedTwiceInAnyCaseIsReported) {
    const Configured files(connections +
                           "[Secure]\nUseEncryption=True\n[SECURE]\nInjectLogLayers=True\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "section-defined-twice", files.store), ElementsAre(5));
    EXPECT_THAT(firstFinding(outcome, "section-defined-twice"), HasSubstr("line 3"));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("UseEncryption +False +default"));
}

TEST(CheckFindings, keyDefinedTwiceIsReported) {
    const Configured files(connections + "[Secure]\nUseEncryption=True\nuseencryption=False\n");
    EXPECT_THAT(linesWith(checked(files.ini), "key-defined-twice", files.store), ElementsAre(5));
}

TEST(CheckFindings, headerInsideALineIsReported) {
    const Configured files(connections + "[Secure]\nInjectLogLayers=[True]\nUseEncryption=True\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "header-inside-line", files.store), ElementsAre(4));
    EXPECT_THAT(linesWith(outcome, "unused-section", files.store), ElementsAre(4));
}

TEST(CheckFindings, reservedNameInTheStoreIsReported) {
    const Configured files(connections + "presentationclient=Secure\n[Secure]\n");
    EXPECT_THAT(linesWith(checked(files.ini), "reserved-name", files.store), ElementsAre(3));
}

TEST(CheckFindings, requestedReservedNameIsReported) {
    const Configured files(connections + "[Secure]\nUseEncryption=True\n");
    const Outcome outcome = runTool(
        {"check", "--ini", files.ini.string(), "--connection", "VexaTcpIpConnection", "--strict"});
    EXPECT_EQ(outcome.status, 20) << outcome.errors;
    EXPECT_THAT(findings(outcome, "reserved-name"), testing::SizeIs(1));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("UseEncryption +False +default"));
}

TEST(CheckFindings, opportunisticInternalNameIsReported) {
    const Configured files(connections + "QLT=Mail\nDefault=Mail\n[Secure]\n[Mail]\n"
                                         "UseEncryption=Opportunistically\n");
    EXPECT_THAT(linesWith(checked(files.ini), "internal-name", files.store), ElementsAre(3));
    const Outcome asked = runTool({"check", "--ini", files.ini.string(), "--connection", "QLT"});
    EXPECT_EQ(asked.status, 1) << asked.errors;
    EXPECT_THAT(firstFinding(asked, "start-refused"),
                HasSubstr("Internal connection name [QLT] does not support OTLS"));
}

TEST(CheckFindings, internalOptionInASectionIsReported) {
    const Configured files(connections + "[Secure]\nConnectionName=Other\n"
                                         "LibraryInvocationPurpose=ListCertificates\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "internal-option", files.store), ElementsAre(4, 5));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("ConnectionName +Tested +"));
}

TEST(CheckFindings, missingSectionOfAConnectionIsReported) {
    const Configured files(connections + "[Secur]\nUseEncryption=True\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "missing-section", files.store), ElementsAre(2));
    EXPECT_THAT(linesWith(outcome, "unused-section", files.store), ElementsAre(3));
}

TEST(CheckFindings, connectionWithoutAnEntryIsReported) {
    const Configured files("[Connections]\nOther=Secure\n[Secure]\nUseEncryption=True\n");
    const Outcome outcome = checked(files.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 20);
    EXPECT_THAT(findings(outcome, "no-entry"), testing::SizeIs(1));
}

TEST(CheckFindings, entryOfDefaultIsANote) {
    const Configured files("[Connections]\nDefault=Secure\n[Secure]\nUseEncryption=True\n");
    const Outcome outcome = checked(files.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_THAT(firstFinding(outcome, "default-entry"), HasSubstr("note: "));
}

TEST(CheckFindings, misspeltConnectionThatEndsInPlainTextIsAWarning) {
    const std::string secure = "Testet=Secure\n[Secure]\nUseEncryption=True\n";
    const Configured byDefault("[Connections]\nDefault=Plain\n" + secure +
                               "[Plain]\nUseEncryption=False\n");
    const Outcome outcome = checked(byDefault.ini, {"--strict"});
    EXPECT_EQ(outcome.status, 20) << outcome.errors;
    EXPECT_THAT(firstFinding(outcome, "plain-by-default"),
                HasSubstr("warning: [Connections] has no entry for [Tested], and the one for "
                          "[Default] means plain text; did you mean [Testet]?"));
    const Configured byNothing("[Connections]\n" + secure);
    EXPECT_THAT(firstFinding(checked(byNothing.ini), "no-entry"),
                HasSubstr("nothing is encrypted; did you mean [Testet]?"));
}

TEST(CheckFindings, plainTextOfTheNameItselfIsNoWarning) {
    const Configured files(connections + "Default=Secure\n[Secure]\nUseEncryption=False\n");
    EXPECT_EQ(checked(files.ini, {"--strict"}).status, 0);
}

TEST(CheckFindings, requiredTlsMakesPlainTextAnError) {
    const auto required = [](const std::string& store) {
        return checked(Configured(store).ini, {"--require-tls"});
    };
    for (const std::string use : {"False", "True", "Opportunistically"}) {
        const Outcome outcome = required(connections + "[Secure]\nUseEncryption=" + use + "\n");
        EXPECT_EQ(outcome.status, use == "False" ? 1 : 0) << use << outcome.errors;
    }
    const Outcome misspelt = required("[Connections]\nOther=Secure\n[Secure]\n");
    EXPECT_EQ(misspelt.status, 1);
    EXPECT_THAT(firstFinding(misspelt, "tls-required"), HasSubstr("error: "));
    EXPECT_EQ(runTool({"check", "--require-tls"}).status, 1);
}

TEST(CheckFindings, spacesAroundANameOrAValueAreReported) {
    const Configured files(connections + "[Secure]\nUseEncryption =True\n"
                                         "ServerCertificateToSendName= web\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "blanks-around-key", files.store), ElementsAre(4));
    EXPECT_THAT(linesWith(outcome, "blanks-around-value", files.store), ElementsAre(5));
    EXPECT_THAT(firstFinding(outcome, "unknown-option"),
                HasSubstr("did you mean [UseEncryption]?"));
}

TEST(CheckFindings, spacesAndCommasAroundClientNamesAreReported) {
    const Configured files(connections +
                           "[Secure]\nAcceptableClientCertificateToReceiveNames=a, b,,c,d\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "odd-client-name", files.store), ElementsAre(4, 4));
    EXPECT_THAT(findings(outcome, "odd-client-name"),
                ElementsAre(HasSubstr("[ b]"), HasSubstr("[,c]")));
}

TEST(CheckFindings, byteOrderMark) {
    const Configured files("\xEF\xBB\xBF" + connections + "[Secure]\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "byte-order-mark", files.store), ElementsAre(1));
    EXPECT_THAT(findings(outcome, "no-connections"), testing::SizeIs(1));
}

TEST(CheckFindings, charactersBeyondAscii) {
    const Configured files(connections + "[Secure]\nServerCertificateToSendName=M\xC3\xBCller\n");
    const Outcome outcome = checked(files.ini);
    EXPECT_THAT(linesWith(outcome, "not-ascii", files.store), ElementsAre(4));
    EXPECT_THAT(outcome.output, HasSubstr("M\xC3\xBCller"));
}

// As editors of another system save it, with and without the mark.
TEST(CheckFindings, wrongEncodingIsTheFirstFinding) {
    const std::string text = connections + "[Secure]\nUseEncryption=True\n";
    std::string wide;
    for (const char unit : text) {
        wide += std::string(1, unit) + '\0';
    }
    const auto expectFirst = [](const std::string& bytes, const std::string& identifier) {
        const Configured files(bytes);
        const Outcome outcome = checked(files.ini);
        EXPECT_THAT(outcome.errors.substr(0, outcome.errors.find('\n')),
                    testing::AllOf(testing::StartsWith(files.store.string() + ":1: warning: "),
                                   testing::EndsWith("[" + identifier + "]")));
        EXPECT_THAT(findings(outcome, "no-connections"), testing::SizeIs(1));
    };
    expectFirst("\xFF\xFE" + wide, "sixteen-bit-text");
    expectFirst(wide, "zero-character");
    expectFirst("\xEF\xBB\xBF" + text, "byte-order-mark");
}

TEST(CheckFindings, pathBeyondAsciiThatWorksIsNoFinding) {
    const auto folder = freshFile(".M\xC3\xBCller");
    std::filesystem::create_directory(folder);
    const Configured files(connections + "[Secure]\nUseEncryption=True\n");
    std::filesystem::copy_file(files.store, folder / "store.ini");
    const auto iniNaming = [](const std::filesystem::path& store) {
        return fileHolding("[VexaSsl]\nConfigurationStore=" + store.string() + "\n");
    };
    EXPECT_EQ(checked(iniNaming(folder / "store.ini"), {"--strict"}).status, 0);
    const Outcome missing = checked(iniNaming(folder / "gone.ini"));
    EXPECT_THAT(findings(missing, "not-ascii"), testing::SizeIs(1)) << missing.errors;
}

TEST(CheckFindings, relativePathOfTheStore) {
    const auto ini = fileHolding("[VexaSsl]\nConfigurationStore=no/such.store\n");
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(linesWith(outcome, "relative-store-path", ini), ElementsAre(2));
}

TEST(CheckFindings, otherSectionsOfTheIniFileAreIgnored) {
    const Configured files(connections + "[Secure]\n");
    const auto ini =
        fileHolding("; banner\n\n[Host]\n; comment\na=1\n\nb=2\na=3\n[Host]\n[VexaSsl]\n"
                    "ConfigurationStore=" +
                    files.store.string() + "\n[More]\nnothing\n");
    const Outcome outcome = checked(ini, {"--strict"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
}

TEST(CheckFindings, linesBeforeAMissingSectionAreReported) {
    const auto ini = fileHolding(" [VexaSsl]\nConfigurationStore=/tmp/x\n[Host]\nnothing\n");
    const Outcome outcome = checked(ini);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(linesWith(outcome, "no-delimiter", ini), ElementsAre(1));
    EXPECT_THAT(linesWith(outcome, "key-outside-section", ini), ElementsAre(2));
}

TEST(CheckFindings, fileThatIsItsOwnStoreIsReportedOnce) {
    const auto file = freshFile(".ini");
    const std::string text = "[VexaSsl]\nConfigurationStore=" + file.string() +
                             "\n[Connections]\nTested=Secure\n[Secure]\nnothing\n";
    std::filesystem::copy_file(fileHolding(text), file);
    const Outcome outcome = checked(file);
    EXPECT_THAT(linesWith(outcome, "no-delimiter", file), ElementsAre(6));
    EXPECT_THAT(findings(outcome, "unused-section"), IsEmpty());
}

TEST(CheckFindings, firstFindingsOfAKindAreShownAndTheRestCounted) {
    std::string store = connections + "[Secure]\n";
    for (int i = 0; i < 1000; ++i) {
        store += "nothing\n";
    }
    const auto found = findings(checked(Configured(store).ini), "no-delimiter");
    ASSERT_EQ(found.size(), 21U);
    EXPECT_THAT(found.back(), HasSubstr(" 980 more like these"));
}

TEST(CheckFindings, uncountedFindingsAreShownAsAtLeast) {
    std::string store = connections + "[Secure]\n";
    for (int i = 0; i < 100001; ++i) {
        store += "x\n";
    }
    const auto found = findings(checked(Configured(store).ini), "no-delimiter");
    ASSERT_EQ(found.size(), 21U);
    EXPECT_THAT(found.back(), HasSubstr(" at least 99980 more like these"));
}

} // namespace
} // namespace VexaSsl::test
