#include "secure/SecureSocketRecord.h"

#include "frame/ErrorText.h"
#include "secure/ChannelCredentials.h"
#include "secure/ClientHandshake.h"
#include "secure/ServerHandshake.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace VexaSsl {

StreamSizes::StreamSizes(ILog& logSink, CtxtHandle* context)
    : log(logSink), securityContext(context), block(std::make_unique<SecPkgContext_StreamSizes>()) {
}

SecureSocketRecord::SecureSocketRecord(ILog& logSink, const IConfig& config, SOCKET connection,
                                       ISocketStrategy& underlying, bool serverRole,
                                       std::wstring target)
    : log(logSink), socket(connection), options(logSink, config), targetName(std::move(target)),
      isServer(serverRole), underlyingStrategy(underlying),
      credentials(std::make_unique<ChannelCredentials>(log, isServer, options)) {
    if (isServer) {
        runServerHandshake(*this);
    } else {
        runClientHandshake(*this);
    }
    queryStreamSizes();
}

// The fields are declared so that their natural order of destruction is the required one: the
// context goes after the credentials that it was made with.
SecureSocketRecord::~SecureSocketRecord() = default;

void SecureSocketRecord::queryStreamSizes() {
    auto sizes = std::make_unique<StreamSizes>(log, securityContext.address());
    const SECURITY_STATUS status = platform::QueryContextAttributesW(
        sizes->securityContext, SECPKG_ATTR_STREAM_SIZES, sizes->block.get());
    if (status != SEC_E_OK) {
        logSystemError(log, L"QueryContextAttributes", static_cast<DWORD>(status));
        throw std::runtime_error("::QueryContextAttributes failed");
    }
    sizes->headerSize = sizes->block->cbHeader;
    sizes->maximumMessageSize = sizes->block->cbMaximumMessage;
    sizes->trailerSize = sizes->block->cbTrailer;
    sizes->recordSize = sizes->headerSize + sizes->maximumMessageSize + sizes->trailerSize;
    sizes->overheadSize = sizes->headerSize + sizes->trailerSize;
    streamSizes = std::move(sizes);
    sendBuffer.resize(streamSizes->recordSize);
    std::fill(sendBuffer.begin(), sendBuffer.end(), '\0');
    receiveBuffer.resize(streamSizes->recordSize);
}

} // namespace VexaSsl
