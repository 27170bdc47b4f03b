// Memory that the security package allocated, such as a token; freed by FreeContextBuffer.
#pragma once

#include "platform/contract/SecuritySupport.h"

#include <memory>

namespace VexaSsl {

struct ContextBufferRelease {
    void operator()(void* buffer) const noexcept { platform::FreeContextBuffer(buffer); }
};

template <typename Content>
using ContextBuffer = std::unique_ptr<Content, ContextBufferRelease>;

} // namespace VexaSsl
