#include "faults/HealthyPeer.h"

#include "fakes/Secrets.h"
#include "faults/Steps.h"

#include "integration/support/System.h"

#include <array>

namespace VexaSsl::test {

namespace {

// Remembers only whether anything has waited in vain.
class PeerLog : public ILog {
public:
    void log(Severity, const std::wstring& text) override {
        secrets::searchIn(text);
        timedOut = timedOut || text.find(L"10060 (") != std::wstring::npos;
    }
    void setMinimumSeverity(Severity) override {}

    bool timedOut = false;
};

class HealthyPeer {
public:
    HealthyPeer(const Scenario& played, const Listener& shared)
        : scenario(played), listener(shared),
          stack(instantiateSocketStrategy(log, *configured(log, scenario.peerOptions))) {}

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
        secrets::addContent(text);
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

} // namespace

bool playHealthyPeer(const Scenario& scenario, const Listener& listener) {
    return HealthyPeer(scenario, listener).run();
}

} // namespace VexaSsl::test
