// The platform's record of how a module's version check ended. It stands in the global namespace
// and is shared with the platform, which fills it; the library only carries the two members below.
//
// A value: copies are independent, and what is shared between threads is guarded by its owner.
#pragma once

#include "VexaSsl/Export.h"

#include <cstdint>

// How a module's version check ended.
class VModuleVersion {
public:
    // A record of this number.
    explicit VModuleVersion(std::int32_t lastErrorNumber = 0) noexcept
        : lastError(lastErrorNumber) {}
    // A copy.
    VModuleVersion(const VModuleVersion& other) noexcept = default;
    ~VModuleVersion() = default;

    // Copies the whole record.
    VEXASSL_API VModuleVersion& operator=(const VModuleVersion& other);

    // The number of the last error, 0 for none.
    VEXASSL_API std::int32_t getLastError() const;

private:
    std::int32_t lastError;
};
