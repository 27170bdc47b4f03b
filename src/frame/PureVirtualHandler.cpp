// The handler of calls to pure virtual functions, instead of the runtime's. Alone in its file: if
// the compiler sees it together with a virtual table, it assumes that calls through the table don't
// return and removes the handlers of the exception.
#include "VexaSsl/KelException.h"
#include "platform/contract/WindowsBase.h"

namespace {

using DumpProcess = int (*)(int);

constexpr int dumpArgument = 2; // defined by the dump library

// The dump library stays loaded, for a debugger.
void writeProcessDump() {
    const auto library = VexaSsl::platform::LoadLibraryA("kelmo");
    if (library == nullptr) {
        return;
    }
    const auto entry =
        reinterpret_cast<void (*)()>(VexaSsl::platform::GetProcAddress(library, "kelProcessDump"));
    if (entry != nullptr) {
        reinterpret_cast<DumpProcess>(entry)(dumpArgument);
    }
}

} // namespace

// The name that the compiler's virtual tables refer to.
#if defined(_MSC_VER)
extern "C" int _purecall() noexcept(false) {
#else
extern "C" void __cxa_pure_virtual() {
#endif
    writeProcessDump();
    throw VexaSsl::KelException(1, 7);
}
