// The scenarios and their certificates.
#include "faults/Scenario.h"

#include "faults/Steps.h"

#include "integration/support/Pki.h"
#include "integration/support/Settings.h"
#include "integration/support/System.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <thread>

namespace VexaSsl::test {

namespace {

const std::wstring serverName = L"case server-ecdsa,";
const std::wstring clientName = L"case client, client.test";

// Three certificates keep each search and run short: one for servers, one for clients, and one for
// a server on a machine with a certain name. The platform reads recently changed files again, so
// this waits until they are old enough that every run makes the same allocations.
void useThreeCertificates() {
    const auto few = temporaryFolder() / "certificates";
    std::filesystem::create_directories(few / "my");
    std::filesystem::copy(pki::folder() / "root", few / "root");
    for (const char* name : {"server-ecdsa.pem", "client.pem", "machine.pem"}) {
        std::filesystem::copy(pki::folder() / "my" / name, few / "my" / name);
    }
    pki::use(few);
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
}

Scenario client() {
    return {
        .name = "client",
        .peerOptions = {{L"ServerCertificateToSendName", serverName}},
        .steps = {build(), resolve(), connect(), send("hello"), receive(12, 12), receive(21, 100)}};
}

Scenario server() {
    return {.name = "server",
            .serves = true,
            .certificate = Certificate::byName,
            .searchedName = serverName,
            .options = {{L"ServerCertificateToSendName", serverName}},
            .steps = {build(), accept(), receive(12, 12), send("hello"), receive(21, 100)}};
}

// Sends more than two records; peeks, receives parts and waits for all.
Scenario blockingData() {
    return {.name = "blocking data",
            .peerOptions = {{L"ServerCertificateToSendName", serverName}},
            .steps = {build(), resolveWide(), connect(), send(std::string(33000, 'x')),
                      receive(5, 5, msgPeek), receive(5, 5), receive(13, 13, msgWaitAll),
                      receive(15, 200, msgWaitAll)}};
}

Scenario readiness() {
    return {.name = "select",
            .peerOptions = {{L"ServerCertificateToSendName", serverName}},
            .steps = {build(), resolve(), connect(), send("hello"), selectReadable(), receive(1, 1),
                      selectReadable(), selectReadableAndWritable(), receive(11, 11),
                      selectReadable(), receive(6, 6), receive(15, 15),
                      selectReadableAndWritable()}};
}

Scenario overlapped() {
    return {.name = "overlapped",
            .serves = true,
            .certificate = Certificate::byName,
            .searchedName = serverName,
            .options = {{L"ServerCertificateToSendName", serverName}},
            .steps = {build(), postAccept(), completeAccept(), sendPieces({"hel", "", "lo"}),
                      postReceive({5, 7}), completeReceive(12), postReceive({50}),
                      completeReceive(21)}};
}

Scenario authenticatingServer() {
    return {.name = "server that authenticates",
            .serves = true,
            .certificate = Certificate::byName,
            .searchedName = serverName,
            .options = {{L"ServerCertificateToSendName", serverName},
                        {L"RequireClientAuthentication", L"True"},
                        {L"AcceptableClientCertificateToReceiveNames", L"client.test"}},
            .peerOptions = {{L"ClientCertificateToSendName", clientName}},
            .steps = {build(), postAccept(), completeAccept(), receive(33, 33), send("hello")}};
}

Scenario authenticatedClient() {
    return {.name = "client that is authenticated",
            .certificate = Certificate::any,
            .options = {{L"ClientCertificateToSendName", L"Any"}},
            .peerOptions = {{L"ServerCertificateToSendName", serverName},
                            {L"RequireClientAuthentication", L"True"}},
            .steps = {build(), resolve(), connect(), send("hello"), receive(33, 33)}};
}

Scenario upgradingClient() {
    return {.name = "client that upgrades",
            .upgrades = true,
            .options = {{L"UseEncryption", L"Opportunistically"}},
            .peerOptions = {{L"UseEncryption", L"Opportunistically"},
                            {L"ServerCertificateToSendName", serverName}},
            .steps = {build(), resolve(), connectWithoutHandshake(), send(upgradeRequest),
                      receiveClear(upgradeAgreement), startTls(), send("hello"), receive(33, 33)}};
}

Scenario upgradingServer() {
    return {.name = "server that upgrades",
            .serves = true,
            .upgrades = true,
            .certificate = Certificate::byName,
            .searchedName = serverName,
            .options = {{L"UseEncryption", L"Opportunistically"},
                        {L"ServerCertificateToSendName", serverName}},
            .peerOptions = {{L"UseEncryption", L"Opportunistically"}},
            .steps = {build(), resolve(), acceptWithoutHandshake(), receiveClear(upgradeRequest),
                      sendPieces({upgradeAgreement}), startTls(), receive(33, 33),
                      sendPieces({"hello"})}};
}

// The certificate is found by the name of the machine.
Scenario serverByDefault() {
    return {.name = "server with its default certificate",
            .serves = true,
            .certificate = Certificate::any,
            .options = {{L"ServerCertificateToSendName", L"Any"}},
            .steps = {build(), postAccept(), completeAccept(), receive(33, 33)}};
}

Scenario loggedClient() {
    Scenario logged = client();
    logged.name = "client with log layers";
    logged.options = {{L"InjectLogLayers", L"True"}};
    logged.hasLogLayers = true;
    return logged;
}

Scenario configuration() {
    return {.name = "configuration", .steps = {readConfiguration()}, .hasPeer = false};
}

std::vector<Scenario> allScenarios() {
    useThreeCertificates();
    std::vector<Scenario> all = {
        client(),          server(),       authenticatingServer(), authenticatedClient(),
        blockingData(),    readiness(),    overlapped(),           upgradingClient(),
        upgradingServer(), loggedClient(), configuration()};
    if (renameMachineOfThisThread(pki::machineName)) {
        all.push_back(serverByDefault());
    }
    return all;
}

} // namespace

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all = allScenarios();
    return all;
}

const Scenario& scenarioNamed(std::string_view name) {
    const auto found = std::ranges::find(scenarios(), name, &Scenario::name);
    return found != scenarios().end()
               ? *found
               : throw std::runtime_error("no scenario " + std::string(name));
}

} // namespace VexaSsl::test
