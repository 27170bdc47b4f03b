// The application platform's record of how a module's version check ended. It is in the global
// namespace because the platform defines it; the library exports the two members below and never
// creates one.
//
// Threads: a value; the owner guards a shared one.
#pragma once

#include "VexaSsl/Export.h"

#include <cstdint>

// How a module's version check ended.
class VModuleVersion {
public:
    // A record of this error number.
    explicit VModuleVersion(std::int32_t lastError = 0) noexcept : lastError(lastError) {}
    // A copy.
    VModuleVersion(const VModuleVersion& other) noexcept = default;
    ~VModuleVersion() = default;

    // Copies the whole record.
    VEXASSL_API VModuleVersion& operator=(const VModuleVersion& other);

    // Returns the number of the last error, 0 for none.
    VEXASSL_API std::int32_t getLastError() const;

private:
    std::int32_t lastError;
};
