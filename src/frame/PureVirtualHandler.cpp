// The one function behind every abstract slot of the library's interfaces, in the place of the
// runtime's. It stands alone in this file on purpose: where the compiler sees it beside a table of
// operations it takes calls through that table for calls that never return, and optimises the
// catching of the exception away.
#include "VexaSsl/KelException.h"
#include "platform/contract/WindowsBase.h"

namespace {

using DumpProcess = int (*)(int);

// The argument is handed on to the dump library, which alone knows its meaning.
constexpr int dumpArgument = 2;

// The dump library stays loaded: whoever looks at the process afterwards may need it.
void leaveEvidence() {
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

// The name by which the compiler's tables reach it.
#if defined(_MSC_VER)
extern "C" int _purecall() {
#else
extern "C" void __cxa_pure_virtual() {
#endif
    leaveEvidence();
    throw VexaSsl::KelException(1, 7);
}
