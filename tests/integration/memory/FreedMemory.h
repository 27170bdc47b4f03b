// Looks into memory that C++ code frees, the library's and the binding's included, for bytes that
// should not be there any more. The program that this is linked into has its operators new and
// delete replaced for that; memory is zeroed when it is given out, so what is found in it was put
// there by its last user. What OpenSSL allocates for itself isn't seen.
//
// Threads: the operators may be called by any; a Watch is made and asked while no other lives.
#pragma once

#include <cstddef>
#include <string_view>

namespace VexaSsl::test {

// While it lives, every block that is freed is searched for the bytes, which are borrowed and lie
// in memory that isn't freed meanwhile.
class FreedMemoryWatch {
public:
    explicit FreedMemoryWatch(std::string_view bytes);
    ~FreedMemoryWatch();
    FreedMemoryWatch(const FreedMemoryWatch&) = delete;
    FreedMemoryWatch& operator=(const FreedMemoryWatch&) = delete;

    // How many of the blocks held the bytes when they were freed, and how many there were in all.
    std::size_t traces() const;
    std::size_t blocks() const;
};

} // namespace VexaSsl::test
