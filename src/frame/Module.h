// The library's record of itself: what it is called, which version it is, and where the loader has
// put it.
//
// Threads: written once, by the entry point under the loader's lock; read by any thread after that.
#pragma once

#include "ModuleShapes.h" // IWYU pragma: export

namespace VexaSsl {

// The shape is shared with the platform's other modules: the operations' table first, which holds
// nothing but the destructor, and then these three fields in this order.
class Module {
public:
    constexpr Module(const wchar_t* moduleName, const wchar_t* moduleVersion)
        : name(moduleName), version(moduleVersion) {}
    constexpr virtual ~Module() = default;
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const wchar_t* name;
    const wchar_t* version;
    HMODULE moduleHandle = nullptr; // null until the entry point stores it
};

// The one record. It is there before any code of the library runs.
extern constinit Module vexaSslModule;

// Whether the record holds the handle.
extern constinit bool moduleInitialised;

} // namespace VexaSsl
