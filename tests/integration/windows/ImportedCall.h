// Replaces a system function that the library imports by a function of the test during the lifetime
// of the object, for results that this system never returns.
//
// Created and destroyed while no call of the library is running.
#pragma once

#include "HostCalls.h"

#include <string>

namespace VexaSsl::test {

class ImportedCall {
public:
    // Throws std::runtime_error when the library doesn't import the function.
    ImportedCall(std::string functionName, void* replacement);
    ~ImportedCall();
    ImportedCall(const ImportedCall&) = delete;
    ImportedCall& operator=(const ImportedCall&) = delete;

    // Returns the system's function.
    template <typename Function>
    Function original() const {
        return reinterpret_cast<Function>(before);
    }

private:
    std::string name;
    void* before;
};

} // namespace VexaSsl::test
