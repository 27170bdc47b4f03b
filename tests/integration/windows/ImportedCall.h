// Puts a function of the test in the place of a system function that the library imports, for the
// life of the object: for answers of the system that the one the tests run on never gives. The
// library itself is the real one; what is left alone goes to the real system.
//
// Made and destroyed while no call of the library is under way.
#pragma once

#include "HostCalls.h"

#include <string>

namespace VexaSsl::test {

class ImportedCall {
public:
    // Throws std::runtime_error when the library imports no such function.
    ImportedCall(std::string functionName, void* replacement);
    ~ImportedCall();
    ImportedCall(const ImportedCall&) = delete;
    ImportedCall& operator=(const ImportedCall&) = delete;

    // The system's own function.
    template <typename Function>
    Function original() const {
        return reinterpret_cast<Function>(before);
    }

private:
    std::string name;
    void* before;
};

} // namespace VexaSsl::test
