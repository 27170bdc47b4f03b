#include "serve/PortThreads.h"

#include "HostCalls.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <new>
#include <thread>
#include <utility>

namespace VexaSsl::tool {

namespace {

constexpr ULONG_PTR stopKey = 0; // no client's

} // namespace

PortThreads::PortThreads()
    : port(platform::CreateIoCompletionPort(platform::invalidHandle(), platform::noHandle, 0, 0)) {
    if (port == platform::noHandle) {
        throw std::bad_alloc();
    }
    try {
        for (unsigned left = std::max(std::thread::hardware_concurrency(), 1U); left > 0; --left) {
            workers.emplace_back([this] { work(); });
        }
    } catch (...) {
        stop();
        throw;
    }
}

PortThreads::~PortThreads() {
    stop();
}

void PortThreads::stop() {
    for (std::size_t left = workers.size(); left > 0; --left) {
        platform::PostQueuedCompletionStatus(port, 0, stopKey, nullptr);
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    platform::CloseHandle(port);
}

bool PortThreads::bind(SOCKET socket, Client& client) {
    return platform::CreateIoCompletionPort(platform::socketHandle(socket), port,
                                            reinterpret_cast<ULONG_PTR>(&client),
                                            0) != platform::noHandle;
}

void PortThreads::startBlocking(std::function<void()> step) {
    tasks.start(std::move(step));
}

// Whether the operation has succeeded is the client's business.
void PortThreads::work() const {
    for (;;) {
        DWORD transferred = 0;
        ULONG_PTR key = stopKey;
        OVERLAPPED* overlapped = nullptr;
        platform::GetQueuedCompletionStatus(port, &transferred, &key, &overlapped,
                                            platform::INFINITE);
        if (key == stopKey) {
            return;
        }
        reinterpret_cast<Client*>(key)->completed();
    }
}

} // namespace VexaSsl::tool
