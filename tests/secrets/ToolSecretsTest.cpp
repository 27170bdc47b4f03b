// The output of the companion tool for users and scripts contains no secrets.
#include "fakes/Sweep.h"
#include "integration/support/Settings.h"
#include "secrets/SecretFolder.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

namespace VexaSsl::test {
namespace {

using ::testing::IsEmpty;
using ::testing::Not;

class ToolSecrets : public ::testing::Test {
protected:
    ToolSecrets() {
        data.add("what the client sends", payload);
        data.add("what stands in a file to send", filed);
    }

    static void TearDownTestSuite() {
        reportFigure("Secrets", "tool: the output of " + std::to_string(runs) +
                                    " runs of its commands searched, secrets in " +
                                    std::to_string(found));
    }

    void inspect(const std::string& said, const Secrets& secrets) {
        const auto names = secrets.foundIn(said);
        EXPECT_THAT(names, IsEmpty()) << said;
        found += names.empty() ? 0 : 1;
    }

    void inspect(const Outcome& outcome) {
        ++runs;
        inspect(outcome.output, folder.secrets);
        inspect(outcome.errors, folder.secrets);
        inspect(outcome.errors, data);
    }

    // Returns a configuration with these certificates.
    Words here(Options options) const {
        options.emplace("MinimumSeverityToLog", "Debug");
        options.emplace("InjectLogLayers", "True");
        Words words = configured(options);
        words.back() = folder.path().string();
        return words;
    }

    Words certificates() const { return {"--certificates", folder.path().string()}; }

    std::string file(const std::string& name) const { return folder.path(name).string(); }

    const std::string payload = markedText(20, 100);
    const std::string filed = markedText(21, 100);
    SecretFolder folder;
    Secrets data;
    static std::size_t runs;
    static std::size_t found;
};

std::size_t ToolSecrets::runs = 0;
std::size_t ToolSecrets::found = 0;

TEST_F(ToolSecrets, echoedConversationRevealsNoSecret) {
    for (const char* encryption : {"True", "False"}) {
        for (const Words& way : {Words{}, Words{"--overlapped"}}) {
            RunningServer server(here({{"UseEncryption", encryption},
                                       {"ServerCertificateToSendName", "case server-rsa,"}}) +
                                 Words{"--count", "2"} + way);
            const Words client = here({{"UseEncryption", encryption}});
            const Outcome typed =
                runTool(Words{"connect", server.target()} + client, Command::Input::text(payload));
            EXPECT_EQ(typed.output, payload); // received data is printed
            inspect(typed);
            const auto toSend = freshFile(".bin");
            std::ofstream(toSend) << filed;
            inspect(runTool(Words{"connect", server.target(), "--send", toSend.string()} + client));
            const Outcome served = runToEnd(server.command());
            inspect(served.output, data);
            inspect(served);
        }
    }
}

TEST_F(ToolSecrets, failedConversationsRevealNoSecret) {
    RunningServer server(
        here({{"UseEncryption", "True"}, {"ServerCertificateToSendName", "case server-ecdsa,"}}));
    inspect(runTool(Words{"connect", server.target()} + here({{"UseEncryption", "False"}}),
                    Command::Input::text(payload)));
    inspect(
        runTool(Words{"connect", server.target("127.0.0.2")} + here({{"UseEncryption", "True"}}),
                Command::Input::text(payload)));
    for (const char* unusable : {"case no-usage,", "case with-intermediate,", "case two-names,"}) {
        inspect(runTool(
            Words{"connect", server.target()} +
                here({{"UseEncryption", "True"}, {"ClientCertificateToSendName", unusable}}),
            Command::Input::text(payload)));
    }
    server.command().signal(SIGTERM);
    const Outcome served = runToEnd(server.command());
    inspect(served.output, data);
    inspect(served);
}

TEST_F(ToolSecrets, serversWithoutAUsableKeyRevealNoSecret) {
    for (const char* unusable : {"case no-usage,", "case with-intermediate,", "case two-names,"}) {
        const Outcome refused =
            runTool(Words{"serve", "--port", "0"} +
                    here({{"UseEncryption", "True"}, {"ServerCertificateToSendName", unusable}}));
        EXPECT_EQ(refused.status, 7);
        inspect(refused);
    }
}

TEST_F(ToolSecrets, checkedConfigurationsRevealNoSecret) {
    for (const char* name : {"case server-rsa,", "case no-usage,", "case with-intermediate,",
                             "case two-names,", "Any"}) {
        const Words words =
            here({{"UseEncryption", "True"}, {"ServerCertificateToSendName", name}});
        inspect(runTool(Words{"check"} + words));
        inspect(runTool(Words{"check", "--json"} + words));
        inspect(runTool(Words{"certificates", "--log"} + words));
        inspect(runTool(Words{"certificates", "--json", "--log"} + words));
    }
}

TEST_F(ToolSecrets, keyAndPasswordFilesReadAsConfigurationsRevealNoSecret) {
    for (const char* name : {"my/good.key", "my/good.pem", "my/closed.key", "my/spoiled.pem",
                             "my/boxed.p12", "my/boxed.p12.password"}) {
        const auto misled = freshFile(".ini");
        std::ofstream(misled) << "[VexaSsl]\nConfigurationStore=" << file(name) << "\n";
        for (const std::string& ini : {file(name), misled.string()}) {
            for (const Words& command : {Words{"check"}, Words{"check", "--json"},
                                         Words{"certificates"}, Words{"connect", "127.0.0.1:1"}}) {
                const Outcome outcome = runTool(command + Words{"--ini", ini} + certificates());
                EXPECT_THAT(outcome.output + outcome.errors, Not(IsEmpty()));
                inspect(outcome);
            }
        }
    }
}

TEST_F(ToolSecrets, explainedFilesRevealNoSecret) {
    for (const char* name : {"my/good.pem", "my/good.key", "my/closed.key", "my/closed.pem",
                             "my/spoiled.pem", "my/boxed.p12", "my/boxed.p12.password"}) {
        inspect(runTool(Words{"explain", "--file", file(name)} + certificates()));
        inspect(runTool(Words{"explain", "--json", "--file", file(name)} + certificates()));
    }
    for (const char* subject : {"case server-rsa,", "case with-intermediate,", "nobody"}) {
        inspect(runTool(Words{"explain", "--store", subject} + certificates()));
    }
}

} // namespace
} // namespace VexaSsl::test
