// The manual: it renders without a warning, lists every flag, and its examples work as printed.
#include "tool/Help.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

namespace VexaSsl::test {
namespace {

using testing::HasSubstr;

const Words manual = {VEXASSL_MANUAL};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// As a reader sees it, wide enough that no line is broken.
std::string rendered() {
    Command command(Words{"env", "LC_ALL=C.UTF-8", "MANWIDTH=250",
                          "MAN_KEEP_FORMATTING=", "GROFF_NO_SGR=1", "man", "-P", "cat", "-l"} +
                    manual);
    EXPECT_EQ(command.exitStatus(), 0) << command.errors();
    return command.output();
}

// "--ini FILE" of ".It Fl Fl ini Ar FILE"; empty for what tags no flag.
std::string flagOf(const std::string& line) {
    std::istringstream words(line);
    std::string flag;
    for (std::string word; words >> word;) {
        if (word == "Fl") {
            flag += "-";
        } else if (word == "Ar") {
            flag += flag.empty() ? "" : " ";
        } else if (word == "Cm") {
            return "";
        } else if (word != ".It") {
            flag += word;
        }
    }
    return flag;
}

std::map<std::string, std::set<std::string>> manualFlags() {
    std::map<std::string, std::set<std::string>> flags;
    std::string section;
    std::string command;
    for (const std::string& line : linesOf(contents(VEXASSL_MANUAL))) {
        if (line.starts_with(".Sh ")) {
            section = line.substr(4);
        } else if (line.starts_with(".Ss ")) {
            command = line.substr(4);
        } else if (section == "COMMANDS" && line.starts_with(".It ")) {
            flags[command].insert(flagOf(line));
        }
    }
    return flags;
}

TEST(ManPage, rendersWithoutAWarning) {
    Command man(Words{"env", "LC_ALL=C.UTF-8", "MANROFFSEQ=", "MANWIDTH=80", "man", "--warnings",
                      "-E", "UTF-8", "-l", "-Tutf8", "-Z"} +
                manual);
    EXPECT_EQ(man.exitStatus(), 0);
    EXPECT_EQ(man.errors(), "");
    Command groff(Words{"groff", "-ww", "-mandoc", "-Tutf8", "-z"} + manual);
    EXPECT_EQ(groff.exitStatus(), 0);
    EXPECT_EQ(groff.errors(), "");
}

TEST(ManPage, hasEveryFlagOfTheHelpAndNoOther) {
    const auto flags = manualFlags();
    const auto commands = helpCommands();
    EXPECT_EQ(flags.size(), commands.size());
    for (const std::string& command : commands) {
        ASSERT_TRUE(flags.contains(command)) << command;
        EXPECT_EQ(flags.at(command), helpFlags(command)) << command;
    }
}

TEST(ManPage, hasEveryExitStatusOfTheHelp) {
    std::string text = rendered();
    text = text.substr(text.find("\nEXIT STATUS\n"));
    for (const auto& [number, meaning] : helpStatuses()) {
        EXPECT_THAT(text, testing::ContainsRegex("\n +" + std::to_string(number) + " +" +
                                                 meaning.substr(0, meaning.find(" ("))));
    }
}

// The files that the examples name, in a folder of their own: those of the manual, with a
// certificate that the tests have, and a command that finds the certificates of the tests.
class ManPageExamples : public testing::Test {
protected:
    ManPageExamples() : page(rendered()), folder(freshFile(".folder")) {
        std::filesystem::create_directories(folder / "bin");
        const auto store = folder / "store.ini";
        std::ofstream(store) << sample("[Connections]");
        std::ofstream(folder / "vexassl.ini")
            << "[VexaSsl]\nConfigurationStore=" << store.string() << "\n";
        std::filesystem::copy_file(pki::file("server-rsa", "cert"), folder / "chain.pem");
        const auto tool = folder / "bin" / "vexassl";
        std::ofstream(tool) << "#!/bin/sh\n[ \"$1\" = version ] || set -- \"$@\" --certificates '"
                            << pki::folder().string() << "'\nexec '" << VEXASSL_TOOL
                            << "' \"$@\"\n";
        std::filesystem::permissions(tool, std::filesystem::perms::owner_all);
    }

    // The literal block of the manual that begins with the line.
    std::string sample(const std::string& first) const {
        std::string block;
        for (const std::string& line : linesOf(contents(VEXASSL_MANUAL))) {
            if (line == ".Ed" && !block.empty()) {
                break;
            }
            if (line == first || !block.empty()) {
                block += line + "\n" + (line.starts_with("UseEncryption=") ? certificate : "");
            }
        }
        return block;
    }

    std::vector<std::string> examples() const {
        std::vector<std::string> lines;
        for (const std::string& line : linesOf(page)) {
            const std::size_t start = line.find_first_not_of(' ');
            if (start != std::string::npos && line.substr(start).starts_with("$ ")) {
                lines.push_back(line.substr(start + 2));
            }
        }
        return lines;
    }

    Words shell(const std::string& line) const {
        return {"sh", "-c",
                "cd '" + folder.string() + "' && PATH=\"" + (folder / "bin").string() +
                    ":$PATH\" && " + line};
    }

    // Ports of the page, and those that the servers really have.
    std::string withRealPorts(std::string line) const {
        for (const auto& [printed, real] : ports) {
            const std::string target = "localhost:" + printed;
            if (const std::size_t place = line.find(target); place != std::string::npos) {
                line.replace(place, target.size(), "localhost:" + real);
            }
        }
        return line;
    }

    void startServer(const std::string& line) {
        const std::string flag = "--port ";
        const std::size_t place = line.find(flag) + flag.size();
        const std::string printed = line.substr(place, line.find(' ', place) - place);
        std::string start = "exec " + line.substr(0, line.rfind(" &"));
        start.replace(start.find(flag + printed), flag.size() + printed.size(), flag + "0");
        servers.push_back(std::make_unique<Command>(shell(start)));
        ASSERT_TRUE(servers.back()->shows("\n")) << servers.back()->errors();
        const std::string output = servers.back()->output();
        const std::size_t number = output.rfind(':') + 1;
        const std::size_t end = output.find_first_not_of("0123456789", number);
        ports[printed] = output.substr(number, end - number);
    }

    const std::string certificate = "ServerCertificateToSendName=" + pki::localhost + "\n";
    std::string page;
    std::filesystem::path folder;
    std::map<std::string, std::string> ports;
    std::vector<std::unique_ptr<Command>> servers;
};

TEST_F(ManPageExamples, workAsPrinted) {
    const auto lines = examples();
    ASSERT_GE(lines.size(), 10U) << page;
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        if (line.ends_with(" &")) {
            ASSERT_NO_FATAL_FAILURE(startServer(line));
            continue;
        }
        Command command(shell(withRealPorts(line)));
        EXPECT_EQ(command.exitStatus(), 0) << command.output() << command.errors();
        if (line.starts_with("echo hello")) {
            EXPECT_EQ(command.output(), "hello\n");
        }
    }
    EXPECT_EQ(servers.size(), 3U);
}

TEST_F(ManPageExamples, thereIsOneForEveryCommand) {
    for (const std::string& command : helpCommands()) {
        EXPECT_THAT(examples(), testing::Contains(HasSubstr("vexassl " + command)));
    }
}

TEST_F(ManPageExamples, filesHaveNoFault) {
    Command command(
        shell("vexassl check --ini vexassl.ini --connection Mail --role server --strict"));
    EXPECT_EQ(command.exitStatus(), 0) << command.errors();
}

} // namespace
} // namespace VexaSsl::test
