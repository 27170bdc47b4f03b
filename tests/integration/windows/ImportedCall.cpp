#include "integration/windows/ImportedCall.h"

#include <cstring>
#include <stdexcept>
#include <utility>

namespace VexaSsl::test {

namespace {

template <typename Pointer>
Pointer at(unsigned char* base, std::size_t offset) {
    return reinterpret_cast<Pointer>(base + offset);
}

// Returns the entry of the module's import table with the function's address, or null.
void** findSlot(unsigned char* base, const char* function) {
    const auto* const start = at<IMAGE_DOS_HEADER*>(base, 0);
    const auto* const headers =
        at<IMAGE_NT_HEADERS*>(base, static_cast<std::size_t>(start->e_lfanew));
    const IMAGE_DATA_DIRECTORY& imports =
        headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    const auto* library = at<IMAGE_IMPORT_DESCRIPTOR*>(base, imports.VirtualAddress);
    for (; library->Name != 0; ++library) {
        const auto* name = at<IMAGE_THUNK_DATA*>(base, library->OriginalFirstThunk);
        auto* slot = at<void**>(base, library->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++slot) {
            if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal)) {
                continue;
            }
            const auto* const entry = at<IMAGE_IMPORT_BY_NAME*>(base, name->u1.AddressOfData);
            if (std::strcmp(entry->Name, function) == 0) {
                return slot;
            }
        }
    }
    return nullptr;
}

// Returns the previous value.
void* replaceImport(const std::string& function, void* replacement) {
    auto* const base = reinterpret_cast<unsigned char*>(GetModuleHandleW(L"VexaSsl.dll"));
    void** const slot = base == nullptr ? nullptr : findSlot(base, function.c_str());
    if (slot == nullptr) {
        throw std::runtime_error("the library doesn't import " + function);
    }
    DWORD protection = 0;
    VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection);
    void* const before = std::exchange(*slot, replacement);
    VirtualProtect(slot, sizeof *slot, protection, &protection);
    return before;
}

} // namespace

ImportedCall::ImportedCall(std::string functionName, void* replacement)
    : name(std::move(functionName)), before(replaceImport(name, replacement)) {}

ImportedCall::~ImportedCall() {
    replaceImport(name, before);
}

} // namespace VexaSsl::test
