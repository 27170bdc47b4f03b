// The certificate picker, on a pseudo-terminal in a child process.
#include "openssl/CertificateFolderTest.h"

#include <fcntl.h>
#include <pty.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace VexaSsl::test {
namespace {

constexpr DWORD cancelled = 1223;
constexpr DWORD noTerminal = 1400;

struct Picked {
    int entry = -1; // the number of the entry, 0 if the user declined
    std::string shown;
};

PCCERT_CONTEXT pickFrom(HCERTSTORE store, const wchar_t* title) {
    return platform::CryptUIDlgSelectCertificateFromStore(store, nullptr, title, nullptr, 0, 0,
                                                          nullptr);
}

int nextDescriptor() {
    const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(next);
    return next;
}

// Calls of the child that wait are interrupted, again and again.
void interruptCalls() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
    const itimerval everyTwoMilliseconds{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &everyTwoMilliseconds, nullptr);
}

// The child's exit status: the number of the picked entry, 0 if the user declined.
int pickInChild(const wchar_t* title) {
    const OpenedStore store;
    const int descriptor = nextDescriptor();
    HeldContext picked = pickFrom(store.get(), title);
    if (nextDescriptor() != descriptor) {
        return 97;
    }
    if (!picked) {
        return platform::GetLastError() == cancelled ? 0 : 99;
    }
    const std::wstring name = displayName(picked.get());
    const HeldContext next = nextIn(store.get(), picked.release());
    if (name == L"one") {
        return next && displayName(next.get()) == L"two" ? 1 : 98;
    }
    return name == L"two" && !next ? 2 : 98;
}

// Returns what the child writes until the text ends so or the child closes its terminal.
std::string readUntil(int terminal, const std::string& end) {
    std::string all;
    char buffer[512];
    for (;;) {
        const ssize_t got = ::read(terminal, buffer, sizeof buffer);
        if (got <= 0) {
            return all;
        }
        all.append(buffer, static_cast<std::size_t>(got));
        if (!end.empty() && all.ends_with(end)) {
            return all;
        }
    }
}

class Picker : public CertificateFolderTest {
protected:
    Picker() {
        install("a.pem", issue(serverNamed("one")));
        install("b.pem", issue(named("two")));
    }

    // Types text, followed by the terminal's end-of-file character, and returns the outcome.
    static Picked answer(const std::string& typed, const wchar_t* title = nullptr,
                         bool isInterrupted = false) {
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            if (isInterrupted) {
                interruptCalls();
            }
            _exit(pickInChild(title));
        }
        Picked picked;
        if (isInterrupted) { // the child waits to write, and then for the answer
            usleep(500'000);
            picked.shown = readUntil(terminal, "for none):\r\n");
            usleep(20'000);
        }
        const std::string all = typed + '\x04';
        EXPECT_EQ(::write(terminal, all.data(), all.size()), static_cast<ssize_t>(all.size()));
        picked.shown += readUntil(terminal, "");
        close(terminal);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        if (WIFEXITED(status)) {
            picked.entry = WEXITSTATUS(status);
        }
        return picked;
    }
};

bool contains(const std::string& text, const std::string& sought) {
    return text.find(sought) != std::string::npos;
}

TEST_F(Picker, numberPicksTheCertificate) {
    EXPECT_EQ(answer("2\n").entry, 2);
    EXPECT_EQ(answer("1\n").entry, 1);
}

TEST_F(Picker, emptyLineDeclines) {
    EXPECT_EQ(answer("\n").entry, 0);
}

TEST_F(Picker, zeroDeclines) {
    EXPECT_EQ(answer("0\n").entry, 0);
}

TEST_F(Picker, endOfFileDeclines) {
    EXPECT_EQ(answer("").entry, 0);
}

TEST_F(Picker, invalidAnswerIsAskedAgain) {
    const Picked picked = answer("x\n3\n2\n");
    EXPECT_EQ(picked.entry, 2);
    EXPECT_TRUE(contains(picked.shown, "Please answer with a number from 0 to 2.")) << picked.shown;
}

TEST_F(Picker, threeInvalidAnswersDecline) {
    EXPECT_EQ(answer("x\n-1\n99999999999999999999999\n2\n").entry, 0);
}

TEST_F(Picker, overlongLineIsInvalidAnswer) {
    const std::string longLine(3000, '1');
    EXPECT_EQ(answer(longLine + "\n1\n").entry, 1);
}

TEST_F(Picker, answerOf80CharactersIsReadWhole) {
    EXPECT_EQ(answer(std::string(79, '0') + "1\n").entry, 1);
}

TEST_F(Picker, pickerShowsNamesAndDates) {
    const std::string shown = answer("\n").shown;
    EXPECT_TRUE(contains(shown, "Select a certificate"));
    EXPECT_TRUE(contains(shown, "1. one [one], issued by one, valid from 20")) << shown;
    EXPECT_TRUE(contains(shown, "2. two [two], issued by two, valid from 20")) << shown;
    EXPECT_EQ(shown.find('\0'), std::string::npos);
}

TEST_F(Picker, dateThatCannotBeDecodedIsQuestionMark) {
    const Issued strange = issue(named("strange"));
    ASN1_TIME* const date = ASN1_STRING_dup(X509_get0_notAfter(strange.certificate.get()));
    ASN1_STRING_set(date, "never", 5);
    X509_set1_notAfter(strange.certificate.get(), date);
    ASN1_TIME_free(date);
    X509* const decoded = X509_dup(strange.certificate.get()); // by way of DER
    X509_free(decoded);
    if (decoded == nullptr) {
        GTEST_SKIP() << "this OpenSSL decodes no certificate with such a date";
    }
    install("c.pem", strange);
    const std::string shown = answer("\n").shown;
    EXPECT_TRUE(contains(shown, " to ?\r\n")) << shown;
}

TEST_F(Picker, longNamesAndListsAreShortened) {
    const std::string longest(100, 'a');
    Recipe recipe = named("nine names");
    recipe.dnsNames = {longest, longest + 'a', "3", "4", "5", "6", "7", "8", "9"};
    install("c.pem", issue(recipe));
    recipe.subject = {{"CN", "ten names"}};
    recipe.dnsNames.push_back("10");
    install("d.pem", issue(recipe));
    const std::string shown = answer("\n").shown;
    const std::string list = longest + ", " + longest + "..., 3, 4, 5, 6, 7, 8, 9";
    EXPECT_TRUE(contains(shown, "nine names [" + list + "]")) << shown;
    EXPECT_TRUE(contains(shown, "ten names [" + list + " and 1 more]")) << shown;
}

TEST_F(Picker, pickerShowsTheTitle) {
    EXPECT_TRUE(contains(answer("\n", L"Choose now").shown, "Choose now"));
}

TEST_F(Picker, controlCharactersDoNotReachTheTerminal) {
    install("c.pem", issue(named("evil\x1b[2J")));
    const std::string shown = answer("\n").shown;
    EXPECT_FALSE(contains(shown, "\x1b"));
    EXPECT_TRUE(contains(shown, "evil?[2J"));
}

TEST_F(Picker, interruptedCallsAreContinued) {
    Recipe recipe = named("long list");
    recipe.dnsNames.assign(9, std::string(100, 'a'));
    const Issued issued = issue(recipe);
    for (int i = 0; i < 98; ++i) { // more than the terminal's buffer holds
        install("c" + std::to_string(i) + ".pem", issued);
    }
    const Picked picked = answer("1\n", nullptr, true);
    EXPECT_EQ(picked.entry, 1);
    EXPECT_TRUE(contains(picked.shown, "100. long list")) << picked.shown;
    EXPECT_TRUE(contains(picked.shown, "(empty or 0 for none):\r\n")) << picked.shown;
}

TEST_F(Picker, pickerReportsUnreadableKey) {
    const Issued closed = issue(named("closed"));
    write("my/c.pem", pem(closed) + encryptedKeyPem(closed, "secret"));
    EXPECT_TRUE(contains(answer("\n").shown, "private key not readable"));
}

TEST_F(Picker, emptyStoreCanOnlyBeDeclined) {
    remove("my/a.pem");
    remove("my/b.pem");
    EXPECT_EQ(answer("1\n").entry, 0);
}

TEST_F(Picker, nothingIsPickedWithoutTerminal) {
    EXPECT_EXIT(
        {
            setsid();
            const OpenedStore store;
            const bool refused = pickFrom(store.get(), nullptr) == nullptr;
            _exit(refused && platform::GetLastError() == noTerminal ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

} // namespace
} // namespace VexaSsl::test
