#include "faults/Scenario.h"

#include "faults/Steps.h"

#include "integration/support/Pki.h"
#include "integration/support/Settings.h"
#include "integration/support/System.h"

#include <gtest/gtest.h>

#include <netinet/tcp.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace VexaSsl::test {

namespace {

const std::wstring connectionName = L"Faults";
const std::wstring serverName = L"case server-ecdsa,";
const std::wstring clientName = L"case client, client.test";

// Few certificates, so that each search and each run is short: one for servers, one for clients,
// and one for a server on a machine of a certain name. The platform reads files anew as long as
// they are young, so they are given the time to age: then every run makes the same allocations.
void useFewCertificates() {
    const auto few = temporaryFolder() / "certificates";
    std::filesystem::create_directories(few / "my");
    std::filesystem::copy(pki::folder() / "root", few / "root");
    for (const char* name : {"server-ecdsa.pem", "client.pem", "machine.pem"}) {
        std::filesystem::copy(pki::folder() / "my" / name, few / "my" / name);
    }
    pki::use(few);
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
}

std::unique_ptr<IConfig> configure(ILog& log, const Options& options) {
    auto config = constructDefaultSslConfiguration(log, connectionName);
    config->setValue(L"UseEncryption", L"True");
    config->setValue(L"MinimumSeverityToLog", L"Debug");
    for (const auto& [name, value] : options) {
        config->setValue(name, value);
    }
    return config;
}

// --- The healthy peer.

// Remembers only whether anything has waited in vain.
class PeerLog : public ILog {
public:
    void log(Severity, const std::wstring& text) override {
        timedOut = timedOut || text.find(L"10060 (") != std::wstring::npos;
    }
    void setMinimumSeverity(Severity) override {}

    bool timedOut = false;
};

class HealthyPeer {
public:
    HealthyPeer(const Scenario& played, const Listener& shared)
        : scenario(played), listener(shared),
          stack(instantiateSocketStrategy(log, *configure(log, scenario.peerOptions))) {}

    // Result: false when something was waited for in vain.
    bool run() {
        if (meet() && (!scenario.upgrades || upgrade())) {
            speak();
        }
        const bool timedOut = platform::WSAGetLastError() == WSAETIMEDOUT;
        return !timedOut && !log.timedOut;
    }

private:
    bool meet() { return scenario.serves ? connect() : accept(); }

    bool connect() {
        resolve();
        socket = makeSocket();
        const sockaddr_in address = loopbackAddress(listener.port());
        return stack->connect(socket.handle(), reinterpret_cast<const sockaddr*>(&address),
                              sizeof address) == 0;
    }

    void resolve() {
        addrinfo* found = nullptr;
        stack->getaddrinfo("localhost", nullptr, nullptr, &found);
        platform::freeaddrinfo(found);
    }

    // A listener that has been shut down counts as readable, and accepting then fails.
    bool accept() {
        waitReadable({listener.handle()}, static_cast<int>(patienceMilliseconds));
        if (scenario.upgrades) {
            resolve();
            socket = HostSocket(stack->accept(listener.handle(), nullptr, nullptr));
            return socket.handle() != INVALID_SOCKET;
        }
        constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;
        std::array<char, 2 * std::size_t{addressSize}> addresses{};
        socket = makeSocket();
        Overlapped overlapped;
        DWORD received = 0;
        const BOOL done = stack->AcceptEx(listener.handle(), socket.handle(), addresses.data(), 0,
                                          addressSize, addressSize, &received, overlapped.get());
        const bool pending = done == FALSE && platform::WSAGetLastError() == WSA_IO_PENDING;
        return (done == TRUE || (pending && overlapped.wait(listener.handle(), received))) &&
               stack->completeAcceptEx() == 0;
    }

    bool say(const std::string& text) {
        const int size = static_cast<int>(text.size());
        return stack->send(socket.handle(), text.data(), size, 0) == size;
    }

    bool hear(const std::string& text) {
        std::string heard(text.size(), '\0');
        const int size = static_cast<int>(heard.size());
        return stack->recv(socket.handle(), heard.data(), size, msgWaitAll) == size &&
               heard == text;
    }

    // The client asks, the server agrees.
    bool upgrade() {
        const bool agreed = scenario.serves ? say(upgradeRequest) && hear(upgradeAgreement)
                                            : hear(upgradeRequest) && say(upgradeAgreement);
        return agreed && dynamic_cast<IOtlsProvider&>(*stack).startOtls() == 0;
    }

    // Never right behind the handshake, where a client that reads too much loses it.
    void speak() {
        if (!scenario.serves) {
            awaitData();
        }
        for (const std::string& text : saidByPeer) {
            say(text);
        }
        platform::shutdown(socket.handle(), SD_SEND);
        std::array<char, 20000> rest{};
        while (stack->recv(socket.handle(), rest.data(), static_cast<int>(rest.size()), 0) > 0) {
        }
    }

    void awaitData() {
        char first = 0;
        stack->recv(socket.handle(), &first, 1, 0);
    }

    const Scenario& scenario;
    const Listener& listener;
    PeerLog log;
    HostSocket socket;
    std::unique_ptr<ISocketStrategy> stack;
};

// --- What is wrong after a run.

bool isShut(SOCKET socket) {
    tcp_info info{};
    socklen_t size = sizeof info;
    ::getsockopt(static_cast<int>(socket), IPPROTO_TCP, TCP_INFO, &info, &size);
    return info.tcpi_state != TCP_ESTABLISHED && info.tcpi_state != TCP_CLOSE_WAIT;
}

// A failed handshake shuts the connection down, but not one that was to go on in the clear.
void checkShutting(End& end, const StepOutcome& outcome) {
    const bool failed = outcome.result == -1;
    const bool aborts = outcome.kind == Kind::connect || outcome.kind == Kind::accept ||
                        outcome.kind == Kind::completeAccept;
    if (failed && aborts && outcome.error == WSAECONNABORTED && !isShut(end.socket.handle())) {
        end.complain("the connection isn't shut down");
    }
    if (failed && outcome.kind == Kind::startTls && isShut(end.socket.handle())) {
        end.complain("the connection is shut down");
    }
}

void checkHoldings(End& end) {
    constexpr std::array<const char*, static_cast<std::size_t>(Held::count)> names = {
        "credentials", "contexts", "certificates", "stores", "chains", "package memory", "texts"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (end.watch.holdings[i] != 0) {
            end.complain(std::string(names[i]) +
                         " still held: " + std::to_string(end.watch.holdings[i]));
        }
    }
}

void playSteps(const Scenario& played, End& end) {
    for (const Step& step : played.steps) {
        if (!step(end)) {
            break;
        }
    }
    if (!end.outcomes.empty()) {
        checkShutting(end, end.last());
    }
    end.perform(Kind::release, [&] {
        end.stack.reset();
        return 0;
    });
    checkHoldings(end);
    end.socket.close();
}

// The peer's end, if there is to be one.
std::jthread startPeer(const Scenario& played, const Listener& listener, std::string& trouble) {
    if (!played.hasPeer) {
        return {};
    }
    return std::jthread([&] {
        if (!HealthyPeer(played, listener).run()) {
            trouble = "the peer has waited in vain; ";
        }
    });
}

Course play(const Scenario& played, const Watch::Plan& plan) {
    const Listener listener;
    std::string peerTrouble;
    End end(plan, listener);
    end.config = configure(end.log, played.options);
    end.log.lines.clear();
    {
        const std::jthread peer = startPeer(played, listener, peerTrouble);
        playSteps(played, end);
        platform::shutdown(listener.handle(), SD_BOTH); // whoever still waits there goes on
    }
    return {.lines = std::move(end.log.lines),
            .outcomes = std::move(end.outcomes),
            .calls = std::move(end.watch.calls),
            .allocations = std::move(end.watch.allocations),
            .allocationCount = end.watch.allocationCount,
            .refused = end.watch.refused,
            .trouble = end.trouble + peerTrouble};
}

} // namespace

namespace {

// The digits that stand before end, if it is one.
void replaceNumber(std::wstring& text, std::size_t end, const wchar_t* mark) {
    if (end != std::wstring::npos) {
        const std::size_t start = text.rfind(L'[', end) + 1;
        text.replace(start, end - start, mark);
    }
}

} // namespace

void StepLog::log(Severity severity, const std::wstring& text) {
    const Watch::Aside aside;
    std::wstring shown = text;
    if (const std::size_t at = shown.find(L"socket ["); at != std::wstring::npos) {
        replaceNumber(shown, shown.find(L']', at), L"S");
    }
    replaceNumber(shown, shown.find(L"] byte message"), L"N");
    lines.push_back({severity, shown});
}

namespace {

void loseExpectations(SOCKET socket) {
    const timeval soon{0, 2000};
    ::setsockopt(static_cast<int>(socket), SOL_SOCKET, SO_RCVTIMEO, &soon, sizeof soon);
}

} // namespace

End::End(Watch::Plan plan, const Listener& acceptingSocket)
    : listener(acceptingSocket), watch(std::move(plan), [this] { return log.lines.size(); }) {
    // A handshake that fails can end in a receive that nobody will serve.
    watch.whenHandshakeFails = [this] {
        loseExpectations(socket.handle() != INVALID_SOCKET ? socket.handle() : watch.accepted);
    };
}

std::int64_t End::perform(Kind kind, const std::function<std::int64_t()>& operation) {
    StepOutcome outcome{
        .kind = kind, .firstLine = log.lines.size(), .firstCall = watch.calls.size()};
    const int before = watch.breakpoints;
    ++watch.steps;
    platform::WSASetLastError(untouchedError);
    try {
        const Watch::Scope scope(watch);
        outcome.result = operation();
    } catch (const std::exception& exception) {
        outcome.result = -1;
        outcome.thrown = exception.what();
    }
    outcome.error = platform::WSAGetLastError();
    outcome.breakpoints = watch.breakpoints - before;
    outcomes.push_back(outcome);
    return outcome.result;
}

Course run(const Scenario& played, const Watch::Plan& plan) {
    const long blocks = blocksHeld();
    const std::size_t descriptors = openDescriptors();
    Course result = play(played, plan);
    if (blocksHeld() != blocks) {
        result.trouble += "blocks still held: " + std::to_string(blocksHeld() - blocks) + "; ";
    }
    if (openDescriptors() != descriptors) {
        result.trouble += "descriptors still open; ";
    }
    return result;
}

Course measured(const Scenario& played) {
    run(played, {});
    Course base = run(played, {.keepAllocations = true});
    EXPECT_EQ(base.trouble, "") << played.name;
    for (StepOutcome& outcome : base.outcomes) {
        outcome.error = anyError;
    }
    return base;
}

std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3) {
        digits.insert(at - 3, ",");
    }
    return digits;
}

namespace {

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

// Two records' worth and a bit more out; peeks, parts and all at once in.
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
            .steps = {build(), resolve(), connect(), send("hello"), selectAlone(), receive(1, 1),
                      selectAlone(), selectBesideWriting(), receive(11, 11), selectAlone(),
                      receive(6, 6), receive(15, 15), selectBesideWriting()}};
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
                      hearClear(upgradeAgreement), startTls(), send("hello"), receive(33, 33)}};
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
            .steps = {build(), resolve(), acceptWithoutHandshake(), hearClear(upgradeRequest),
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
    useFewCertificates();
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

const Scenario& scenario(const std::string& name) {
    const auto found = std::ranges::find(scenarios(), name, &Scenario::name);
    return found != scenarios().end() ? *found : throw std::runtime_error("no scenario " + name);
}

} // namespace VexaSsl::test
