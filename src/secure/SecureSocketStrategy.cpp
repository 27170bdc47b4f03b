#include "secure/SecureSocketStrategy.h"

#include "frame/DecimalText.h"
#include "frame/ErrorText.h"
#include "platform/contract/Winsock.h"
#include "secure/OperationGuard.h"
#include "secure/SecurityPackageCheck.h"

#include <memory>
#include <string>
#include <utility>

namespace VexaSsl {

SecureSocketStrategy::SecureSocketStrategy(ILog& log, const IConfig& config,
                                           std::unique_ptr<ISocketStrategy> underlyingStrategy)
    : log(log), config(log, config), underlyingStrategy(std::move(underlyingStrategy)) {
    checkSecurityPackage(log);
}

// Frees the buffers of receives that are still pending: a host cancels or completes them before.
SecureSocketStrategy::~SecureSocketStrategy() = default;

void SecureSocketStrategy::secureConnection(bool isServer, std::wstring targetName) {
    record = std::make_unique<SecureSocketRecord>(log, config, socket, *underlyingStrategy,
                                                  isServer, std::move(targetName));
}

int SecureSocketStrategy::refuseWithoutName() {
    failure = {FailureCause::Caller, 0, "no host name has been resolved"};
    log.log(Severity::Error, noHostNameText);
    return SOCKET_ERROR;
}

int SecureSocketStrategy::refuseCall(const wchar_t* operation, const wchar_t* mistake, int code) {
    log.log(Severity::Error, joined({operation, mistake}));
    platform::WSASetLastError(code);
    return SOCKET_ERROR;
}

void SecureSocketStrategy::abortConnection(SOCKET& connection) {
    if (platform::shutdown(connection, SD_BOTH) == SOCKET_ERROR) {
        const int code = platform::WSAGetLastError();
        logIfMemoryAllows(log, Severity::Debug, [code] {
            return L"::shutdown failed with " + std::to_wstring(code) + L" (" +
                   systemErrorText(static_cast<DWORD>(code)) + L")";
        });
    }
    connection = INVALID_SOCKET;
}

void SecureSocketStrategy::failHandshake() {
    failure = currentReason();
    abortConnection(socket);
    platform::WSASetLastError(WSAECONNABORTED);
}

} // namespace VexaSsl
