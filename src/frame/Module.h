// The library's record of itself: its name, its version and its handle.
//
// Threads: written once, by the entry point under the loader's lock; then any thread may read.
#pragma once

#include "ModuleShapes.h" // IWYU pragma: export

namespace VexaSsl {

// Its layout is common to the modules of the host's platform: the virtual table, which has only the
// destructor, then the three fields in this order.
class Module {
public:
    constexpr Module(const wchar_t* name, const wchar_t* version) : name(name), version(version) {}
    constexpr virtual ~Module() {} // GCC 12 refuses a constant whose destructor is defaulted
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const wchar_t* name;
    const wchar_t* version;
    mutable HMODULE moduleHandle = nullptr; // null until the entry point stores it
};

// A constant: exists before any code of the library runs, and no destructor is registered for it.
extern const Module vexaSslModule;

// Whether moduleHandle is set.
extern constinit bool moduleInitialised;

} // namespace VexaSsl
