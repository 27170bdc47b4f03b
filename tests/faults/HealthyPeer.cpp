#include "faults/HealthyPeer.h"

#include "fakes/Secrets.h"
#include "faults/Steps.h"

#include "integration/support/System.h"

#include <array>

namespace VexaSsl::test {

namespace {

// Records only whether an operation timed out.
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
    HealthyPeer(const Scenario& scenario, const Listener& listener)
        : scenario(scenario), listener(listener),
          stack(instantiateSocketStrategy(log, *configured(log, scenario.peerOptions))) {}

    // Returns false if an operation timed out.
    bool run() {
        if (establish() && (!scenario.upgrades || upgrade())) {
            exchangeData();
        }
        const bool timedOut = platform::WSAGetLastError() == WSAETIMEDOUT;
        return !timedOut && !log.timedOut;
    }

private:
    bool establish() { return scenario.serves ? connect() : accept(); }

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
        waitReadable({listener.handle()}, static_cast<int>(timeoutMilliseconds));
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

    bool sendText(const std::string& text) {
        secrets::addContent(text);
        const int size = static_cast<int>(text.size());
        return stack->send(socket.handle(), text.data(), size, 0) == size;
    }

    bool receiveText(const std::string& text) {
        std::string received(text.size(), '\0');
        const int size = static_cast<int>(received.size());
        return stack->recv(socket.handle(), received.data(), size, msgWaitAll) == size &&
               received == text;
    }

    // The client asks, the server agrees.
    bool upgrade() {
        const bool agreed = scenario.serves
                                ? sendText(upgradeRequest) && receiveText(upgradeAgreement)
                                : receiveText(upgradeRequest) && sendText(upgradeAgreement);
        return agreed && dynamic_cast<IOtlsProvider&>(*stack).startOtls() == 0;
    }

    // Does not send right after the handshake, where a client may read and lose the data.
    void exchangeData() {
        if (!scenario.serves) {
            awaitData();
        }
        for (const std::string& text : peerTexts) {
            sendText(text);
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
