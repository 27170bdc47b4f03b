// What tests need of the system in addition to the calls of a host. support/linux and
// support/windows have the definitions, and the header HostCalls.h.
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

// Returns the number of bytes sent, or SOCKET_ERROR. Raises no signal.
int sendBytes(SOCKET socket, std::string_view bytes);
// Returns the number of bytes received, 0 at the end of the stream, or SOCKET_ERROR.
int receiveBytes(SOCKET socket, char* buffer, std::size_t size);
bool connectTo(SOCKET socket, const sockaddr_in& address);
SOCKET acceptFrom(SOCKET listener);
std::uint16_t portOf(SOCKET socket);
// What a host must do with an accepted socket after AcceptEx.
void joinListener(SOCKET accepted, SOCKET listener);
// Makes closing the socket reset its connection.
void resetAtClose(SOCKET socket);
// Returns whether the socket is open but shut down for sending.
bool isShutForSending(SOCKET socket);
// Waits until a socket is readable. Returns a set of bits, bit i for sockets[i]; 0 after the
// timeout. INVALID_SOCKET is ignored.
unsigned waitReadable(const std::vector<SOCKET>& sockets, int milliseconds);
// Waits for an event. Returns false after the timeout.
bool waitForEvent(HANDLE event, DWORD milliseconds);
// Waits until the other end has received what was sent.
void waitUntilReceived(SOCKET socket);

// --- The process.

// Returns the number of open descriptors or handles.
std::size_t openDescriptors();
// Returns the process id.
unsigned long processNumber();
// Returns the number of breakpoints of the library that were skipped; always 0 on Linux, where they
// do nothing.
int breakpoints();
// Returns a new folder.
std::filesystem::path makeTemporaryFolder();

// --- Abilities that a system may lack.

enum class Ability {
    verifyServers,             // the security package refuses untrusted servers
    requestClientCertificates, // the security package requests certificates of clients
    detectPlainText,           // the security package refuses data that is not TLS before a timeout
    ellipticKeys,              // certificates with elliptic keys can be used
    sendIntermediates,         // a certificate is sent together with its issuer
    keepFlights,   // the security package consumes the records of a flight only when it is complete
    reportResets,  // a reset connection is distinguished from a closed one
    searchByUsage, // the personal store is searched by the usage of certificates
    renameMachine, // a thread can have its own machine name
    actAsAnotherUser, // a process of another user can be started
};

// Returns the reason why this system lacks the ability; empty when it has it.
std::string missingAbility(Ability ability);

// Skips the test with the reason on a system without the ability.
#define VEXASSL_NEEDS_ABILITY(ability)                                                             \
    if (const std::string reason = VexaSsl::test::missingAbility(ability); !reason.empty()) {      \
        GTEST_SKIP() << reason;                                                                    \
    }                                                                                              \
    static_assert(true)

// --- Other identities.

// Sets the machine name of this thread (Ability::renameMachine). Returns false without the
// permission.
bool renameMachineOfThisThread(const std::string& name);
// Runs the work in a copy of this process with another user (Ability::actAsAnotherUser). Returns
// the work's result, or nothing on failure.
std::optional<std::string> runAsAnotherUser(const std::function<std::string()>& work);

} // namespace VexaSsl::test
