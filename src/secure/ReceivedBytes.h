// The bytes between the network and the caller: plaintext that has not been delivered, and after it
// ciphertext that has not been decrypted. Records are decrypted where they lie and both parts are
// consumed from the front, so usually the only copy of a byte is the one to the caller.
//
// The bytes lie in memory of this object, or in a buffer that it has borrowed. Whatever throws
// throws std::bad_alloc, with nothing changed. One thread at a time.
#pragma once

#include "secure/WipingAllocator.h"

#include <cstddef>
#include <span>

namespace VexaSsl {

class ReceivedBytes {
public:
    using Memory = WipedBytes;

    ReceivedBytes() = default;
    // The source must not be used any more.
    ReceivedBytes(ReceivedBytes&&) = default;
    ReceivedBytes& operator=(ReceivedBytes&&) = default;

    std::span<const char> plain() const noexcept { return {plainBegin, plainEnd}; }
    std::span<const char> cipher() const noexcept { return {cipherBegin, cipherEnd}; }

    // Each appends size bytes of ciphertext. append copies them.
    void append(const char* data, std::size_t size);
    // Takes over source, of which only these bytes at its front are not zero. Without a copy if
    // nothing is held.
    void append(Memory&& source, std::size_t size);
    // Without a copy if nothing is held: the bytes stay in buffer until keep is called.
    void borrow(char* buffer, std::size_t size);
    // Moves what is held out of a borrowed buffer, to where size more bytes can be appended.
    void keep(std::size_t size);

    // Returns the ciphertext for decryption in place. It is no longer held, but stays in memory
    // until the next call that appends or releases.
    std::span<char> takeCipher() noexcept;
    // rest is the ciphertext of takeCipher or the end of it.
    void putBack(std::span<char> rest) noexcept;
    // Appends plaintext that lies where takeCipher's ciphertext was, before what was put back.
    void appendPlain(char* data, std::size_t size) noexcept;
    // Removes size bytes of plaintext from the front.
    void consume(std::size_t size) noexcept;
    // Gives up the memory if nothing is held: what was taken over becomes the spare memory.
    void release() noexcept;
    // Returns the spare memory with this size, zero, if it is large enough; else an empty one.
    Memory takeSpare(std::size_t size) noexcept;

private:
    std::size_t size() const noexcept { return plain().size() + cipher().size(); }
    void makeRoom(std::size_t count);
    void place(char* begin) noexcept;

    void keepAsSpare(Memory& unused, std::size_t usedSize) noexcept;

    Memory memory;
    Memory spare;
    bool isBorrowing = false;
    bool isTakenOver = false;
    std::size_t used = 0; // bytes of memory that was taken over; the rest is zero
    char* plainBegin = nullptr;
    char* plainEnd = nullptr;
    char* cipherBegin = nullptr; // not before plainEnd
    char* cipherEnd = nullptr;
};

} // namespace VexaSsl
