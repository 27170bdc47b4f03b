// Used by the examples: a handler for the library's breakpoints. The library has one where the peer
// closes its TLS stream and where a record can't be decrypted, so every peer can cause one. Without
// a handler it ends the process.
#pragma once

#include <VexaSsl/Sockets.h>

// Continues after breakpoints while the object exists. A debugger receives them first.
class BreakpointHandler {
public:
    BreakpointHandler() : handler(AddVectoredExceptionHandler(1, continueAfter)) {}
    ~BreakpointHandler() { RemoveVectoredExceptionHandler(handler); }
    BreakpointHandler(const BreakpointHandler&) = delete;
    BreakpointHandler& operator=(const BreakpointHandler&) = delete;

private:
    static LONG CALLBACK continueAfter(EXCEPTION_POINTERS* what) {
        if (what->ExceptionRecord->ExceptionCode != EXCEPTION_BREAKPOINT) {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        ++what->ContextRecord->Rip; // past the instruction, which has one byte
        return EXCEPTION_CONTINUE_EXECUTION;
    }

    void* handler;
};
