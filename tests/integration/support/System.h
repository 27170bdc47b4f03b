// What the tests need of a system beyond the calls of a host. There is one folder of definitions a
// system, support/linux and support/windows, of which CMake takes one; HostCalls.h lies there too.
#pragma once

#include "HostCalls.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::test {

// --- Sockets without a stack.

// The bytes that went out, or SOCKET_ERROR. A peer that is gone is an error and no signal.
int sendBytes(SOCKET socket, std::string_view bytes);
// The bytes that came, 0 at the end of the stream, or SOCKET_ERROR.
int receiveBytes(SOCKET socket, char* buffer, std::size_t size);
bool connectTo(SOCKET socket, const sockaddr_in& address);
SOCKET acceptFrom(SOCKET listener);
std::uint16_t portOf(SOCKET socket);
// What a host does to a socket that AcceptEx has connected before it uses it otherwise.
void joinListener(SOCKET accepted, SOCKET listener);
// From now on closing the socket resets its connection.
void resetAtClose(SOCKET socket);
// Whether the socket is open but takes nothing more to send.
bool isShutForSending(SOCKET socket);
// Waits until something can be read or has ended. Bit i of the result stands for sockets[i]; 0 at
// the time limit. INVALID_SOCKET is passed over.
unsigned waitReadable(const std::vector<SOCKET>& sockets, int milliseconds);
// Waits for an event of the host's. Result: false at the time limit.
bool waitForEvent(HANDLE event, DWORD milliseconds);
// Lets the other end take what has been sent before more follows.
void letItArrive(SOCKET socket);

// --- The process.

// How many descriptors or handles it holds.
std::size_t openDescriptors();
// Tells a process from those that it has started.
unsigned long processNumber();
// How many breakpoints of the library it has passed over; the library's stop only under a debugger
// where that is left to the platform, and 0 is always the answer there.
int breakpoints();
// A new folder that nobody else uses.
std::filesystem::path makeTemporaryFolder();

// --- What a test may have to do without.

enum class Ability {
    judgeServers,      // the security package refuses servers that aren't to be trusted
    askClients,        // the security package asks clients for certificates
    notePlainText,     // the security package refuses what is no TLS before a time-out
    ellipticKeys,      // certificates with elliptic keys can be used
    sendIntermediates, // a certificate is sent together with its issuer
    keepFlights,       // of a flight in pieces the security package consumes whole records only at
                       // its end
    tellResets,        // a reset connection is never taken for a closed one
    searchByUsage,     // the personal store is searched by the usage of certificates
    renameMachine,     // a thread can be given a machine name of its own
    actAsAnotherUser,  // a process of another user can be started
};

// Why this system doesn't have the ability; empty when it has.
std::string whyNot(Ability ability);

// Ends the test as skipped, with the reason, on a system without the ability.
#define VEXASSL_NEEDS_ABILITY(ability)                                                             \
    if (const std::string reason = VexaSsl::test::whyNot(ability); !reason.empty()) {              \
        GTEST_SKIP() << reason;                                                                    \
    }                                                                                              \
    static_assert(true)

// --- Other identities.

// Ability::renameMachine. Result: false without the right to it.
bool renameMachineOfThisThread(const std::string& name);
// Ability::actAsAnotherUser. Runs the work in a process of another user, which has all that this
// one has. Result: what the work returned; nothing when it couldn't be done.
std::optional<std::string> saidByAnotherUser(const std::function<std::string()>& work);

} // namespace VexaSsl::test
