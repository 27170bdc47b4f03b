// SecureSocketStrategy: what a host can ask.
#include "secure/ConnectionDescription.h"
#include "secure/OperationGuard.h"
#include "secure/SecureSocketStrategy.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace VexaSsl {

// A failed attempt keeps the record of an earlier connection, which is not that of the peer that
// the host asks about.
ConnectionInfo SecureSocketStrategy::connectionInfo() const {
    if (!record || failure.cause != FailureCause::None) {
        return {};
    }
    return describeConnection(*record);
}

ConnectionFailure SecureSocketStrategy::lastFailure() const {
    return describe(failure);
}

int SecureSocketStrategy::heldBytes() noexcept {
    if (!record) {
        return 0;
    }
    const auto held = [this] {
        constexpr std::size_t most = std::numeric_limits<int>::max();
        const std::size_t count = std::min(record->plainBytes().size(), most);
        const bool ends = count == 0 && record->heldFailure != SEC_E_OK;
        return ends ? SOCKET_ERROR : static_cast<int>(count);
    };
    return guardOperation(
        log, LogTexts::otherExceptionPrefix, [&] { return record->decryptHeld(), held(); },
        noCleanup, [&](Interruption) { return held(); });
}

} // namespace VexaSsl
