// Contract: what the library needs of the system's base: texts, errors, names of the machine, the
// user and the executable, modules and their version records, and the breakpoint. Names, arguments
// and results are those of the Windows functions. Any thread may call any of them.
#pragma once

#include "BaseShapes.h"   // IWYU pragma: export
#include "ModuleShapes.h" // IWYU pragma: export
#include <cstdarg>

namespace VexaSsl::platform {

// From codePage to wide text. Result: the units written (the buffer isn't terminated when length is
// explicit); 0 on failure or when length is 0. With capacity 0: the units needed.
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* buffer,
                        int capacity);

// From wide text to codePage. Result: the bytes written; 0 on failure, also when the buffer is too
// small.
int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* buffer,
                        int capacity, const char* defaultCharacter, BOOL* usedDefaultCharacter);

// The system's text for an error number or a security status. With FORMAT_MESSAGE_ALLOCATE_BUFFER,
// buffer is the address of a wchar_t* (cast, as on Windows) that receives a zero-terminated text to
// be released with LocalFree. Result: the units of the text; 0 when the number has none, and the
// pointer is then null or points to an empty text.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, va_list* arguments);
HLOCAL LocalFree(HLOCAL memory); // null is harmless

// The calling thread's last error; the same slot as WSAGetLastError.
DWORD GetLastError();

// The full path of the running executable (null module), cut to size units. Result: units written.
DWORD GetModuleFileNameW(HMODULE module, wchar_t* buffer, DWORD size);

// The machine's name. With too small a buffer: FALSE and *size becomes the units needed with the
// terminator; else TRUE and *size becomes the units written without it.
BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size);

// The user's name; *size is the capacity on entry, the units with the terminator on return.
BOOL GetUserNameW(wchar_t* buffer, DWORD* size);

// No notices of threads that come and go for this module. The result tells nothing that the library
// acts upon.
BOOL DisableThreadLibraryCalls(HMODULE module);

// The path of a module's file (a null module: the executable), zero-terminated, in the form that
// GetFileVersionInfoA takes. A longer path is cut to size and may then lack its end. module is what
// the entry point was given or LoadLibraryA returned. Result: the characters written, 0 on failure.
DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size);

// Loads a library by its bare name as the system's loader finds it. Result: its handle, which keeps
// it loaded, or null.
HMODULE LoadLibraryA(const char* name);
// The function that a module exports by this name, or null.
FARPROC GetProcAddress(HMODULE module, const char* name);

// The bytes that the version record of a file takes in memory, 0 when there is none. *ignored
// becomes 0.
DWORD GetFileVersionInfoSizeA(const char* fileName, DWORD* ignored);
// The record itself; size is the one that was told. The second argument isn't used.
BOOL GetFileVersionInfoA(const char* fileName, DWORD ignored, DWORD size, void* block);
// Looks into a record: "\" gives its VS_FIXEDFILEINFO, "\StringFileInfo\<translation>\<key>" a
// zero-terminated text, *length counting its end too. *value points into the block. Result: FALSE
// when there is no such thing.
BOOL VerQueryValueA(const void* block, const char* path, void** value, UINT* length);

// Stops in a debugger. A binding may do nothing when there is none: the peer can provoke this call.
void DebugBreak();

} // namespace VexaSsl::platform
