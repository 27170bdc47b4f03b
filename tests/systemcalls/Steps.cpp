#include "systemcalls/Steps.h"

namespace VexaSsl::test {

namespace {

// An AcceptEx with an event.
class OverlappedAccept {
public:
    bool post(Peer& self, SOCKET listener) {
        DWORD received = 0;
        return self.stack->AcceptEx(listener, self.socket.handle(), addresses, 0, addressSize,
                                    addressSize, &received, overlapped.get()) != FALSE ||
               platform::WSAGetLastError() == WSA_IO_PENDING;
    }
    bool wait(SOCKET listener) {
        DWORD received = 0;
        return overlapped.wait(listener, received);
    }

private:
    static constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;

    char addresses[2 * addressSize] = {};
    Overlapped overlapped;
};

} // namespace

bool sends(Play& play, Peer& self, const std::string& text) {
    return play.step("send", [&] { return self.sendAll(text); });
}

bool hears(Play& play, Peer& self, const std::string& text) {
    const bool well = play.step("recv", [&] {
        const auto got = self.receive(text.size(), msgWaitAll);
        if (got && *got != text.substr(0, got->size())) {
            play.wrong = "other bytes than were sent";
        }
        return got == text;
    });
    return well;
}

bool makesSocket(Play& play, Peer& self) {
    const bool well = play.step("socket", [&] {
        self.socket = HostSocket(platform::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP));
        return self.socket.handle() != INVALID_SOCKET;
    });
    if (well) {
        setTimeouts(self.socket.handle());
    }
    return well;
}

bool ends(Play& play, Peer& self) {
    return play.step("end", [&] {
        platform::shutdown(self.socket.handle(), SD_BOTH);
        self.socket.close();
        return true;
    });
}

bool resolves(Play& play, Peer& self) {
    return play.step("getaddrinfo", [&] {
        addrinfo* found = nullptr;
        const int result = self.stack->getaddrinfo("localhost", nullptr, nullptr, &found);
        platform::freeaddrinfo(found);
        platform::WSASetLastError(result);
        return result == 0;
    });
}

bool connects(Play& play, Peer& self, const Listener& listener) {
    return resolves(play, self) && makesSocket(play, self) && play.step("connect", [&] {
        const sockaddr_in address = loopbackAddress(listener.port());
        return self.stack->connect(self.socket.handle(),
                                   reinterpret_cast<const sockaddr*>(&address),
                                   sizeof address) == 0;
    });
}

bool accepts(Play& play, Peer& self, const Listener& listener) {
    OverlappedAccept accept;
    const bool well = makesSocket(play, self) && play.step("accept", [&] {
        return accept.post(self, listener.handle()) && accept.wait(listener.handle());
    });
    if (!well) {
        self.socket.close(); // aborts the pending operation before its memory is freed
    }
    return well &&
           play.step("completeAcceptEx", [&] { return self.stack->completeAcceptEx() == 0; });
}

Peer stackOf(Play& play, const Settings& settings) {
    Peer self;
    self.stack = instantiateSocketStrategy(play.log, *settings.load(play.log));
    return self;
}

} // namespace VexaSsl::test
