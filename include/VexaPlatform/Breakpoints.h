// The library's breakpoints on Linux, for debugging a host.
//
// The library has a breakpoint where a peer ends its TLS stream and where a record can't be
// decrypted. On Windows it stops a debugger and ends a process without one. On Linux it is off
// until a host turns it on: any peer can cause it, and a server must not end for that reason,
// whether a tracer such as strace is attached or not.
#pragma once

namespace VexaSsl::platform {

// Turns the breakpoints of the process on or off. While they are on, a breakpoint raises SIGTRAP in
// the thread that meets it: a debugger stops there, and without a debugger or a handler for the
// signal the process ends.
void setBreakpoints(bool on) noexcept;

} // namespace VexaSsl::platform
