#include "platform/contract/WindowsBase.h"

#include "ModuleShapes.h"

namespace VexaSsl::platform {

BOOL DisableThreadLibraryCalls(HMODULE module) {
    return ::DisableThreadLibraryCalls(module);
}

DWORD GetModuleFileNameA(HMODULE module, char* buffer, DWORD size) {
    return ::GetModuleFileNameA(module, buffer, size);
}

HMODULE LoadLibraryA(const char* name) {
    return ::LoadLibraryA(name);
}

FARPROC GetProcAddress(HMODULE module, const char* name) {
    return ::GetProcAddress(module, name);
}

DWORD GetFileVersionInfoSizeA(const char* fileName, DWORD* ignored) {
    return ::GetFileVersionInfoSizeA(fileName, ignored);
}

BOOL GetFileVersionInfoA(const char* fileName, DWORD ignored, DWORD size, void* block) {
    return ::GetFileVersionInfoA(fileName, ignored, size, block);
}

BOOL VerQueryValueA(const void* block, const char* path, void** value, UINT* length) {
    return ::VerQueryValueA(block, path, value, length);
}

} // namespace VexaSsl::platform
