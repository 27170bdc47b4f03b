// Calls the library's pure-virtual handler and expects KelException. A separate program, since the
// search for the dump library depends on the environment.
//
//   handler_host LIBRARY DISTANCE DUMP
//
// DISTANCE is the handler's address minus that of DllGetVersion. DUMP is the argument that the dump
// library must have received, or "none" when there must be no such library. Exit status: 0 when
// everything is as expected; 1 with a line that says what isn't.
#include "VexaSsl/KelException.h"
#include "platform/contract/WindowsBase.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

using namespace VexaSsl;
using Handler = void (*)();

int fail(const char* what) {
    std::printf("%s\n", what);
    return 1;
}

Handler findHandler(HMODULE library, const char* distance) {
    const auto place = reinterpret_cast<std::uintptr_t>(
        reinterpret_cast<void (*)()>(platform::GetProcAddress(library, "DllGetVersion")));
    const auto offset = static_cast<std::uintptr_t>(std::strtoll(distance, nullptr, 10));
    return place == 0 ? nullptr : reinterpret_cast<Handler>(place + offset);
}

// Returns the argument that the dump library has received, or "none" when it can't be found.
std::string dumpAsked() {
    const HMODULE library = platform::LoadLibraryA("kelmo");
    if (library == nullptr) {
        return "none";
    }
    using Asked = int (*)();
    const auto asked = reinterpret_cast<Asked>(
        reinterpret_cast<void (*)()>(platform::GetProcAddress(library, "kelLastDump")));
    return asked == nullptr ? "not the test library" : std::to_string(asked());
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return fail("handler_host LIBRARY DISTANCE DUMP");
    }
    const HMODULE library = platform::LoadLibraryA(argv[1]);
    const Handler handler = library == nullptr ? nullptr : findHandler(library, argv[2]);
    if (handler == nullptr) {
        return fail("cannot load the library");
    }
    try {
        handler();
        return fail("the handler returned");
    } catch (const std::exception&) {
        return fail("the handler threw a standard exception");
    } catch (const KelException& exception) {
        if (exception.first != 1 || exception.second != 7) {
            return fail("the exception has wrong numbers");
        }
    }
    const std::string asked = dumpAsked();
    if (asked != argv[3]) {
        return fail(("argument of the dump library: " + asked).c_str());
    }
    return 0;
}
