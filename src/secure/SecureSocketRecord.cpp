#include "secure/SecureSocketRecord.h"

#include "frame/ConnectionError.h"
#include "frame/ErrorText.h"
#include "secure/ChannelCredentials.h"
#include "secure/ClientHandshake.h"
#include "secure/ServerHandshake.h"

#include <memory>
#include <string>
#include <utility>

namespace VexaSsl {

StreamSizes::StreamSizes(ILog& log, CtxtHandle* securityContext)
    : log(log), securityContext(securityContext),
      block(std::make_unique<SecPkgContext_StreamSizes>()) {}

SecureSocketRecord::SecureSocketRecord(ILog& log, const IConfig& config, SOCKET socket,
                                       ISocketStrategy& underlyingStrategy, bool isServer,
                                       std::wstring targetName)
    : log(log), socket(socket), options(log, config), targetName(std::move(targetName)),
      isServer(isServer), underlyingStrategy(underlyingStrategy),
      credentials(std::make_unique<ChannelCredentials>(log, isServer, options)) {
    if (isServer) {
        runServerHandshake(*this);
    } else {
        runClientHandshake(*this);
    }
    queryStreamSizes();
}

// The order of the fields makes the context outlive the credentials.
SecureSocketRecord::~SecureSocketRecord() = default;

void SecureSocketRecord::queryStreamSizes() {
    auto sizes = std::make_unique<StreamSizes>(log, securityContext.address());
    const SECURITY_STATUS status = platform::QueryContextAttributesW(
        sizes->securityContext, SECPKG_ATTR_STREAM_SIZES, sizes->block.get());
    if (status != SEC_E_OK) {
        logSystemError(log, L"QueryContextAttributes", static_cast<DWORD>(status));
        throw ConnectionError(FailureCause::Protocol, "::QueryContextAttributes failed", status);
    }
    sizes->headerSize = sizes->block->cbHeader;
    sizes->maximumMessageSize = sizes->block->cbMaximumMessage;
    sizes->trailerSize = sizes->block->cbTrailer;
    sizes->recordSize = sizes->headerSize + sizes->maximumMessageSize + sizes->trailerSize;
    sizes->overheadSize = sizes->headerSize + sizes->trailerSize;
    streamSizes = std::move(sizes);
    sendBuffer = WorkBuffer(streamSizes->recordSize);
    receiveBuffer = WorkBuffer(streamSizes->recordSize);
}

} // namespace VexaSsl
