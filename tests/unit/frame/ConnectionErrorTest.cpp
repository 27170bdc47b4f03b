#include "frame/ConnectionError.h"

#include "VexaSsl/Sockets.h"
#include "fakes/ScriptedPlatform.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace VexaSsl::test {
namespace {

using Cause = FailureCause;

struct SocketCode {
    int code;
    Cause cause;
};

class CauseOfSocketError : public testing::TestWithParam<SocketCode> {};

TEST_P(CauseOfSocketError, isThatOfTheCode) {
    EXPECT_EQ(causeOfSocketError(GetParam().code), GetParam().cause);
}

INSTANTIATE_TEST_SUITE_P(
    Codes, CauseOfSocketError,
    testing::Values(
        SocketCode{WSAECONNREFUSED, Cause::Transport}, SocketCode{WSAETIMEDOUT, Cause::Transport},
        SocketCode{WSAECONNRESET, Cause::Transport}, SocketCode{WSAEHOSTUNREACH, Cause::Transport},
        SocketCode{0, Cause::Transport}, SocketCode{WSA_NOT_ENOUGH_MEMORY, Cause::Memory},
        SocketCode{WSAENOBUFS, Cause::Memory}, SocketCode{WSAEFAULT, Cause::Caller},
        SocketCode{WSAEINVAL, Cause::Caller}, SocketCode{WSAEWOULDBLOCK, Cause::Caller},
        SocketCode{WSAEINPROGRESS, Cause::Caller}, SocketCode{WSAEALREADY, Cause::Caller},
        SocketCode{WSAENOTSOCK, Cause::Caller}, SocketCode{WSAEOPNOTSUPP, Cause::Caller},
        SocketCode{WSAEAFNOSUPPORT, Cause::Caller}, SocketCode{WSAEISCONN, Cause::Caller}));

struct Thrown {
    const char* name;
    std::function<void()> raise;
    Cause cause;
    std::int32_t status;
    const char* text;
};

void PrintTo(const Thrown& tested, std::ostream* stream) {
    *stream << tested.name;
}

class ReasonOfException : public testing::TestWithParam<Thrown> {};

TEST_P(ReasonOfException, isThatOfItsType) {
    try {
        GetParam().raise();
    } catch (...) {
        const FailureReason reason = currentReason();
        EXPECT_EQ(reason.cause, GetParam().cause);
        EXPECT_EQ(reason.status, GetParam().status);
        EXPECT_STREQ(reason.text, GetParam().text);
        return;
    }
    FAIL() << "nothing was thrown";
}

INSTANTIATE_TEST_SUITE_P(
    Types, ReasonOfException,
    testing::Values(
        Thrown{"withReason", [] { throw ConnectionError(Cause::Protocol, "odd bytes", -7); },
               Cause::Protocol, -7, "odd bytes"},
        Thrown{"withAnotherText",
               [] {
                   throw ConnectionError({Cause::OwnCertificate, 5, "no store"}, "5");
               },
               Cause::OwnCertificate, 5, "no store"},
        Thrown{"badOption", [] { throw std::out_of_range("invalid configuration"); },
               Cause::Configuration, 0, "invalid configuration"},
        Thrown{"noMemory", [] { throw std::bad_alloc(); }, Cause::Memory, 0, "out of memory"},
        Thrown{"ofTheLog", [] { throw std::runtime_error("disk full"); }, Cause::Caller, 0,
               "unexpected exception"}),
    [](const auto& tested) { return tested.param.name; });

TEST(ConnectionErrorText, isThatOfTheExceptionAlone) {
    EXPECT_STREQ(ConnectionError(Cause::Transport, "can't send", 10054).what(), "can't send");
    EXPECT_STREQ(ConnectionError({Cause::OwnCertificate, 5, "no store"}, "5").what(), "5");
}

class Description : public testing::Test {
protected:
    ScriptedPlatform platform;
};

TEST_F(Description, systemsTextFollowsAColon) {
    const ConnectionFailure failure = describe({Cause::Expired, -2146893016, "call failed"});
    EXPECT_EQ(failure.cause, Cause::Expired);
    EXPECT_EQ(failure.status, -2146893016);
    EXPECT_EQ(failure.text, L"call failed: text of 2148074280");
}

// As systems return it.
TEST_F(Description, spaceAtTheEndOfTheSystemsTextIsDropped) {
    platform.FormatMessageW = [](DWORD, const void*, DWORD, DWORD, wchar_t* buffer, DWORD, void*) {
        constexpr std::wstring_view text = L"It has ended. ";
        auto* copy = static_cast<wchar_t*>(std::calloc(text.size() + 1, sizeof(wchar_t)));
        text.copy(copy, text.size());
        *reinterpret_cast<wchar_t**>(buffer) = copy;
        return static_cast<DWORD>(text.size());
    };
    EXPECT_EQ(describe({Cause::Transport, 1, "closed"}).text, L"closed: It has ended.");
}

TEST_F(Description, unknownStatusHasNoText) {
    platform.FormatMessageW = [](auto...) { return DWORD{0}; };
    EXPECT_EQ(describe({Cause::Protocol, -1, "call failed"}).text, L"call failed");
}

TEST_F(Description, withoutAStatusTheSystemIsNotAsked) {
    platform.FormatMessageW = [](auto...) {
        ADD_FAILURE() << "asked";
        return DWORD{0};
    };
    EXPECT_EQ(describe({Cause::Transport, 0, "closed"}).text, L"closed");
}

TEST_F(Description, noFailureIsEmpty) {
    const ConnectionFailure failure = describe({});
    EXPECT_EQ(failure.cause, Cause::None);
    EXPECT_EQ(failure.status, 0);
    EXPECT_EQ(failure.text, L"");
}

TEST_F(Description, outcomeHasTheLastErrorOnlyAfterAFailure) {
    platform.lastError = WSAECONNREFUSED;
    EXPECT_EQ(outcomeOf(true, "cannot connect").cause, Cause::None);
    const FailureReason reason = outcomeOf(false, "cannot connect");
    EXPECT_EQ(reason.cause, Cause::Transport);
    EXPECT_EQ(reason.status, WSAECONNREFUSED);
    EXPECT_STREQ(reason.text, "cannot connect");
}

} // namespace
} // namespace VexaSsl::test
