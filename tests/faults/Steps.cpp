#include "faults/Steps.h"

#include "fakes/Secrets.h"
#include "integration/support/Settings.h"
#include "integration/support/System.h"

#include <poll.h>

#include <array>
#include <fstream>

namespace VexaSsl::test {

namespace {

constexpr DWORD addressSize = sizeof(sockaddr_storage) + 16;

bool succeeded(const EndUnderTest& end, std::int64_t result, std::int64_t wanted) {
    return result == wanted && end.last().thrown.empty();
}

// Waits until the peer has sent everything.
void awaitEndOfPeer(EndUnderTest& end) {
    if (end.peerHasEnded) {
        return;
    }
    pollfd entry{end.socket.descriptor(), POLLRDHUP, 0};
    if (::poll(&entry, 1, static_cast<int>(timeoutMilliseconds)) != 1) {
        end.addFault("the peer's stream does not end");
    }
    end.peerHasEnded = true;
}

void expectNext(EndUnderTest& end, const std::string& bytes) {
    if (allPeerTexts.compare(end.receivedSize, bytes.size(), bytes) != 0) {
        end.addFault("wrong bytes: " + bytes);
    }
}

std::int64_t asResult(SOCKET accepted) {
    return accepted == INVALID_SOCKET ? -1 : 0;
}

} // namespace

Step build() {
    return [](EndUnderTest& end) {
        const std::int64_t result = end.perform(Kind::build, [&] {
            end.stack = instantiateSocketStrategy(end.log, *end.config);
            return 0;
        });
        return succeeded(end, result, 0);
    };
}

Step resolve() {
    return [](EndUnderTest& end) {
        const std::string service = std::to_string(end.listener.port());
        addrinfo hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* found = nullptr;
        const std::int64_t result = end.perform(Kind::resolve, [&] {
            return end.stack->getaddrinfo("localhost", service.c_str(), &hints, &found);
        });
        platform::freeaddrinfo(found); // a failing call may still return a list
        return succeeded(end, result, 0);
    };
}

Step resolveWide() {
    return [](EndUnderTest& end) {
        const std::wstring service = std::to_wstring(end.listener.port());
        ADDRINFOW hints{};
        hints.ai_family = AF_INET;
        hints.ai_socktype = SOCK_STREAM;
        ADDRINFOW* found = nullptr;
        const std::int64_t result = end.perform(Kind::resolve, [&] {
            return end.stack->GetAddrInfoW(L"localhost", service.c_str(), &hints, &found);
        });
        platform::FreeAddrInfoW(found);
        return succeeded(end, result, 0);
    };
}

Step connect() {
    return [](EndUnderTest& end) {
        end.socket = makeSocket();
        const sockaddr_in address = loopbackAddress(end.listener.port());
        const std::int64_t result = end.perform(Kind::connect, [&] {
            return end.stack->connect(end.socket.handle(),
                                      reinterpret_cast<const sockaddr*>(&address), sizeof address);
        });
        return succeeded(end, result, 0);
    };
}

Step connectWithoutHandshake() {
    return [](EndUnderTest& end) {
        end.socket = makeSocket();
        const sockaddr_in address = loopbackAddress(end.listener.port());
        const std::int64_t result = end.perform(Kind::connect, [&] {
            return end.stack->WSAConnect(end.socket.handle(),
                                         reinterpret_cast<const sockaddr*>(&address),
                                         sizeof address, nullptr, nullptr, nullptr, nullptr);
        });
        return succeeded(end, result, 0);
    };
}

Step accept() {
    return [](EndUnderTest& end) {
        sockaddr_storage address{};
        int length = sizeof address;
        const std::int64_t result = end.perform(Kind::accept, [&] {
            const SOCKET accepted = end.stack->accept(
                end.listener.handle(), reinterpret_cast<sockaddr*>(&address), &length);
            return asResult(accepted);
        });
        // A host doesn't know the socket if the handshake failed.
        end.socket = HostSocket(end.watch.accepted);
        return succeeded(end, result, 0);
    };
}

Step acceptWithoutHandshake() {
    return [](EndUnderTest& end) {
        const std::int64_t result = end.perform(Kind::accept, [&] {
            return asResult(
                end.stack->WSAAccept(end.listener.handle(), nullptr, nullptr, nullptr, 0));
        });
        end.socket = HostSocket(end.watch.accepted);
        return succeeded(end, result, 0);
    };
}

Step postAccept() {
    return [](EndUnderTest& end) {
        waitReadable({end.listener.handle()}, static_cast<int>(timeoutMilliseconds));
        end.socket = makeSocket();
        std::array<char, 2 * std::size_t{addressSize}> addresses{};
        Overlapped overlapped;
        DWORD received = 0;
        end.perform(Kind::postAccept, [&] {
            return end.stack->AcceptEx(end.listener.handle(), end.socket.handle(), addresses.data(),
                                       0, addressSize, addressSize, &received, overlapped.get());
        });
        const bool isPosted = end.last().result == TRUE || end.last().error == WSA_IO_PENDING;
        return isPosted && overlapped.wait(end.listener.handle(), received);
    };
}

Step completeAccept() {
    return [](EndUnderTest& end) {
        const std::int64_t result =
            end.perform(Kind::completeAccept, [&] { return end.stack->completeAcceptEx(); });
        return succeeded(end, result, 0);
    };
}

Step startTls() {
    return [](EndUnderTest& end) {
        auto* const provider = dynamic_cast<IOtlsProvider*>(end.stack.get());
        const std::int64_t result =
            end.perform(Kind::startTls, [&] { return provider->startOtls(); });
        return succeeded(end, result, 0);
    };
}

Step send(const std::string& text) {
    return [text](EndUnderTest& end) {
        secrets::addContent(text);
        const int size = static_cast<int>(text.size());
        const std::int64_t result = end.perform(
            Kind::send, [&] { return end.stack->send(end.socket.handle(), text.data(), size, 0); });
        return succeeded(end, result, size);
    };
}

Step sendPieces(const std::vector<std::string>& texts) {
    return [texts](EndUnderTest& end) {
        std::vector<WSABUF> buffers;
        std::size_t total = 0;
        for (const std::string& text : texts) {
            secrets::addContent(text);
            buffers.push_back({static_cast<ULONG>(text.size()), const_cast<char*>(text.data())});
            total += text.size();
        }
        DWORD sent = 0;
        const std::int64_t result = end.perform(Kind::send, [&] {
            return end.stack->WSASend(end.socket.handle(), buffers.data(),
                                      static_cast<DWORD>(buffers.size()), &sent, 0, nullptr,
                                      nullptr);
        });
        if (sent != (succeeded(end, result, 0) ? total : 0)) {
            end.addFault("wrong number of bytes sent");
        }
        return succeeded(end, result, 0);
    };
}

Step receiveClear(const std::string& text) {
    return [text](EndUnderTest& end) {
        std::string bytes(text.size(), '\0');
        const std::int64_t result = end.perform(Kind::receive, [&] {
            return end.stack->recv(end.socket.handle(), bytes.data(),
                                   static_cast<int>(bytes.size()), msgWaitAll);
        });
        return succeeded(end, result, static_cast<std::int64_t>(text.size())) && bytes == text;
    };
}

Step receive(std::size_t size, std::size_t room, int flags) {
    return [=](EndUnderTest& end) {
        awaitEndOfPeer(end);
        std::string bytes(room, '\0');
        const std::int64_t result = end.perform(Kind::receive, [&] {
            return end.stack->recv(end.socket.handle(), bytes.data(), static_cast<int>(room),
                                   flags);
        });
        if (result > 0) {
            bytes.resize(static_cast<std::size_t>(result));
            expectNext(end, bytes);
            end.receivedSize += (flags & msgPeek) != 0 ? 0 : bytes.size();
        }
        return succeeded(end, result, static_cast<std::int64_t>(size));
    };
}

Step selectReadable() {
    return [](EndUnderTest& end) {
        awaitEndOfPeer(end);
        fd_set set{};
        platform::socketSetAdd(end.socket.handle(), set);
        const timeval limit{timeoutSeconds, 0};
        const std::int64_t result = end.perform(
            Kind::select, [&] { return end.stack->select(0, &set, nullptr, nullptr, &limit); });
        return succeeded(end, result, 1);
    };
}

Step selectReadableAndWritable() {
    return [](EndUnderTest& end) {
        awaitEndOfPeer(end);
        fd_set reading{};
        fd_set writing{};
        platform::socketSetAdd(end.socket.handle(), reading);
        platform::socketSetAdd(end.socket.handle(), writing);
        const timeval limit{timeoutSeconds, 0};
        const std::int64_t result = end.perform(Kind::select, [&] {
            return end.stack->select(0, &reading, &writing, nullptr, &limit);
        });
        return succeeded(end, result, 2);
    };
}

Step postReceive(const std::vector<std::size_t>& sizes) {
    return [sizes](EndUnderTest& end) {
        awaitEndOfPeer(end);
        std::size_t total = 0;
        for (const std::size_t size : sizes) {
            total += size;
        }
        end.overlappedBuffer.assign(total, '\0');
        std::vector<WSABUF> buffers;
        std::size_t start = 0;
        for (const std::size_t size : sizes) {
            buffers.push_back({static_cast<ULONG>(size), end.overlappedBuffer.data() + start});
            start += size;
        }
        Overlapped overlapped;
        DWORD received = 0;
        DWORD flags = msgWaitAll; // the library removes it
        end.perform(Kind::postReceive, [&] {
            const int result = end.stack->WSARecv(end.socket.handle(), buffers.data(),
                                                  static_cast<DWORD>(buffers.size()), &received,
                                                  &flags, overlapped.get(), nullptr);
            const bool isPending = result != 0 && platform::WSAGetLastError() == WSA_IO_PENDING;
            return isPending ? 0 : result;
        });
        return succeeded(end, end.last().result, 0) &&
               overlapped.wait(end.socket.handle(), end.transferred);
    };
}

Step completeReceive(std::size_t size) {
    return [size](EndUnderTest& end) {
        DWORD count = end.transferred;
        const std::int64_t result = end.perform(
            Kind::completeReceive, [&] { return end.stack->completeWSARecv(0, &count, nullptr); });
        if (count != (succeeded(end, result, 0) ? size : 0)) {
            end.addFault("wrong number of bytes received");
        }
        expectNext(end, std::string(end.overlappedBuffer.data(), count));
        end.receivedSize += count;
        return succeeded(end, result, 0);
    };
}

Step readConfiguration() {
    return [](EndUnderTest& end) {
        const auto folder = temporaryFolder();
        const auto ini = folder / "faults.ini";
        const auto store = folder / "faults-store.ini";
        std::ofstream(ini) << "[VexaSsl]\nConfigurationStore=" << store.string() << '\n';
        std::ofstream(store) << "[Connections]\nDefault=Chosen\n[Chosen]\nUseEncryption=True\n";
        const std::int64_t result = end.perform(Kind::configure, [&] {
            end.config = constructSslConfigurationFromIniFile(end.log, ini, L"Faults");
            return 0;
        });
        return succeeded(end, result, 0);
    };
}

} // namespace VexaSsl::test
