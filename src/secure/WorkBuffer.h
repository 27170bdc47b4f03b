// A work buffer of a connection. Its bytes are zero at the start, and those that were used are
// overwritten at the end. It lies in a slab that many buffers share, so that pages that a
// connection never uses take no memory, and the next connection finds pages that are there and
// zero. A slab is freed with its last buffer; the last slab is kept until the library is unloaded.
//
// One thread at a time for an object; different objects are independent.
#pragma once

#include <cstddef>

namespace VexaSsl {

struct Slab;

class WorkBuffer {
public:
    using value_type = char;
    using const_iterator = const char*;

    WorkBuffer() = default;
    // Throws std::bad_alloc.
    explicit WorkBuffer(std::size_t size);
    ~WorkBuffer();
    WorkBuffer(WorkBuffer&& source) noexcept { swap(source); }
    WorkBuffer& operator=(WorkBuffer&& source) noexcept {
        swap(source);
        return *this;
    }

    char* data() const noexcept { return bytes; }
    std::size_t size() const noexcept { return byteCount; }
    char* begin() const noexcept { return bytes; }
    char* end() const noexcept { return bytes + byteCount; }

    // Must be called before anything but zeros is left in the first count bytes.
    void use(std::size_t count) noexcept { used = count > used ? count : used; }
    // Overwrites what was used beyond the first count bytes.
    void shrink(std::size_t count) noexcept;

private:
    void swap(WorkBuffer& other) noexcept;

    Slab* slab = nullptr;
    char* bytes = nullptr;
    std::size_t byteCount = 0;
    std::size_t used = 0; // the bytes behind are zero
};

} // namespace VexaSsl
