// Contract: base services: text conversion, errors, the names of the machine, the user and the
// executable, modules and their version records, and the breakpoint. Names, arguments and results
// are those of the Windows functions. Any thread may call any of them.
#pragma once

#include "BaseShapes.h"   // IWYU pragma: export
#include "ModuleShapes.h" // IWYU pragma: export
#include <cstdarg>

namespace VexaSsl::platform {

// Converts text from codePage to wide text. length counts bytes; -1: zero-terminated. Returns the
// units written, or with capacity 0 the units needed; 0 on failure, length 0 and a buffer that is
// too small included. A terminator is written only for length -1.
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* text, int length, wchar_t* buffer,
                        int capacity);

// Converts wide text to codePage, with the same conventions; the result counts bytes.
int WideCharToMultiByte(UINT codePage, DWORD flags, const wchar_t* text, int length, char* buffer,
                        int capacity, const char* defaultCharacter, BOOL* usedDefaultCharacter);

// Writes the system's text for an error code or a security status. With
// FORMAT_MESSAGE_ALLOCATE_BUFFER, buffer is the address of a wchar_t* (cast, as on Windows) that
// receives a zero-terminated text, which is released with LocalFree. Returns the units of the text;
// 0 when the code has no text, and the pointer is then null or points to an empty text.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD code, DWORD language, wchar_t* buffer,
                     DWORD size, va_list* arguments);
HLOCAL LocalFree(HLOCAL memory); // null is harmless

// Returns the calling thread's last error, the same value as WSAGetLastError.
DWORD GetLastError();

// Writes the full path of the running executable (a null module), truncated to size units. Returns
// the units written.
DWORD GetModuleFileNameW(HMODULE module, wchar_t* buffer, DWORD size);

// Writes the machine's name. *size is the capacity on entry. Returns TRUE, and *size becomes the
// units written without the terminator; FALSE for a buffer that is too small, and *size becomes the
// units needed with it.
BOOL GetComputerNameExW(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size);

// Writes the user's name. *size is the capacity on entry and the units with the terminator, written
// or needed, on return.
BOOL GetUserNameW(wchar_t* buffer, DWORD* size);

// Turns off the notifications about starting and ending threads for this module. The core ignores
// the result.
BOOL DisableThreadLibraryCalls(HMODULE module);

// Writes the path of a module's file, or of the executable for a null module, zero-terminated, in
// the form that GetFileVersionInfoA takes. A longer path is truncated to size. module was passed to
// the entry point or returned by LoadLibraryA. Returns the characters written, 0 on failure.
DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size);

// Loads a library by its bare name, as the system's loader finds it. Returns its handle, which
// keeps it loaded, or null.
HMODULE LoadLibraryA(const char* name);
// Returns the function that a module exports by this name, or null.
FARPROC GetProcAddress(HMODULE module, const char* name);

// Returns the size of a file's version record in bytes, 0 when the file has none. Sets *ignored to
// 0.
DWORD GetFileVersionInfoSizeA(const char* fileName, DWORD* ignored);
// Writes the version record to block, which has the size that GetFileVersionInfoSizeA returned.
BOOL GetFileVersionInfoA(const char* fileName, DWORD ignored, DWORD size, void* block);
// Finds an entry of a version record: "\" is its VS_FIXEDFILEINFO,
// "\StringFileInfo\<translation>\<key>" a zero-terminated text, whose terminator *length counts.
// *value points into the block. Returns FALSE when the record has no such entry.
BOOL VerQueryValueA(const void* block, const char* path, void** value, UINT* length);

// Breaks into a debugger. A binding may do nothing until the host turns breakpoints on: a peer can
// cause this call.
void DebugBreak();

} // namespace VexaSsl::platform
