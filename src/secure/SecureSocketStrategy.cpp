#include "secure/SecureSocketStrategy.h"

#include "frame/ErrorText.h"
#include "platform/contract/Winsock.h"
#include "secure/SecurityPackageCheck.h"

#include <memory>
#include <string>
#include <utility>

namespace VexaSsl {

SecureSocketStrategy::SecureSocketStrategy(ILog& logSink, const IConfig& configuration,
                                           std::unique_ptr<ISocketStrategy> underlying)
    : log(logSink), config(logSink, configuration), underlyingStrategy(std::move(underlying)) {
    checkSecurityPackage(log);
}

// From the last field to the first: receives that are still pending lose their memory here, so a
// host cancels or finishes them before.
SecureSocketStrategy::~SecureSocketStrategy() = default;

void SecureSocketStrategy::secureConnection(bool serverRole, std::wstring target) {
    record = std::make_unique<SecureSocketRecord>(log, config, socket, *underlyingStrategy,
                                                  serverRole, std::move(target));
}

void SecureSocketStrategy::abortConnection(SOCKET& connection) {
    if (platform::shutdown(connection, SD_BOTH) == SOCKET_ERROR) {
        const int code = platform::WSAGetLastError();
        log.log(Severity::Debug, L"::shutdown failed with " + std::to_wstring(code) + L" (" +
                                     systemErrorText(static_cast<DWORD>(code)) + L")");
    }
    connection = INVALID_SOCKET;
}

void SecureSocketStrategy::failHandshake() {
    abortConnection(socket);
    platform::WSASetLastError(WSAECONNABORTED);
}

} // namespace VexaSsl
