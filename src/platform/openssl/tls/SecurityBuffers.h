// Access to the entries of a SecBufferDesc. A null description has no entries. Any thread.
#pragma once

#include "SecurityShapes.h"

#include <cstddef>
#include <span>

namespace VexaSsl::openssl {

inline std::span<SecBuffer> entriesOf(const SecBufferDesc* description) noexcept {
    if (!description || !description->pBuffers) {
        return {};
    }
    return {description->pBuffers, description->cBuffers};
}

// Returns the first entry of the type, or null.
inline SecBuffer* findEntry(const SecBufferDesc* description, ULONG type) noexcept {
    for (SecBuffer& entry : entriesOf(description)) {
        if (entry.BufferType == type) {
            return &entry;
        }
    }
    return nullptr;
}

inline std::span<unsigned char> bytesOf(const SecBuffer& entry) noexcept {
    if (!entry.pvBuffer) {
        return {};
    }
    return {static_cast<unsigned char*>(entry.pvBuffer), entry.cbBuffer};
}

inline void setEntry(SecBuffer& entry, ULONG type, std::size_t size, void* data) noexcept {
    entry = {.cbBuffer = static_cast<ULONG>(size), .BufferType = type, .pvBuffer = data};
}

// Sets the first EMPTY entry. Does nothing without one.
inline void setEmptyEntry(const SecBufferDesc* description, ULONG type, std::size_t size,
                          void* data) noexcept {
    if (SecBuffer* entry = findEntry(description, SECBUFFER_EMPTY)) {
        setEntry(*entry, type, size, data);
    }
}

} // namespace VexaSsl::openssl
