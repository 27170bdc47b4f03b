#include "secure/ReceivedBytes.h"

#include "secure/ByteCopy.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

namespace VexaSsl {

void ReceivedBytes::append(const char* data, std::size_t count) {
    makeRoom(count);
    copyBytes(data, count, cipherEnd);
    cipherEnd += count;
    used = std::max(used, static_cast<std::size_t>(cipherEnd - memory.data()));
}

void ReceivedBytes::append(Memory&& source, std::size_t count) {
    if (size() != 0) {
        append(source.data(), count);
        keepAsSpare(source, count);
        return;
    }
    release();
    memory = std::move(source);
    isTakenOver = true;
    used = count;
    plainBegin = plainEnd = cipherBegin = memory.data();
    cipherEnd = cipherBegin + count;
}

void ReceivedBytes::borrow(char* buffer, std::size_t count) {
    if (size() != 0) {
        append(buffer, count);
        return;
    }
    release();
    isBorrowing = true;
    plainBegin = plainEnd = cipherBegin = buffer;
    cipherEnd = cipherBegin + count;
}

void ReceivedBytes::keep(std::size_t count) {
    release();
    if (isBorrowing) {
        makeRoom(count);
    }
}

std::span<char> ReceivedBytes::takeCipher() noexcept {
    return {cipherBegin, std::exchange(cipherEnd, cipherBegin)};
}

void ReceivedBytes::putBack(std::span<char> rest) noexcept {
    cipherBegin = rest.data();
    cipherEnd = cipherBegin + rest.size();
}

void ReceivedBytes::appendPlain(char* data, std::size_t count) noexcept {
    if (plainBegin == plainEnd) {
        plainBegin = plainEnd = data;
    } else {
        std::memmove(plainEnd, data, count);
    }
    plainEnd += count;
    if (cipherBegin == cipherEnd) {
        cipherBegin = cipherEnd = plainEnd;
    }
}

void ReceivedBytes::consume(std::size_t count) noexcept {
    plainBegin += count;
    release();
}

void ReceivedBytes::release() noexcept {
    if (size() == 0) {
        if (isTakenOver) {
            keepAsSpare(memory, used);
        }
        memory = Memory();
        isBorrowing = false;
        isTakenOver = false;
        plainBegin = plainEnd = cipherBegin = cipherEnd = nullptr;
    }
}

// Overwriting what was used makes all of it zero again.
void ReceivedBytes::keepAsSpare(Memory& unused, std::size_t usedSize) noexcept {
    wipeMemory(unused.data(), usedSize);
    spare = std::move(unused);
}

ReceivedBytes::Memory ReceivedBytes::takeSpare(std::size_t wanted) noexcept {
    if (spare.capacity() < wanted) {
        return {};
    }
    Memory taken = std::exchange(spare, {});
    taken.resize(wanted); // all of the capacity is zero
    return taken;
}

// Ensures that count bytes can be appended in memory of this object. Moves what is held to the
// front only if at least as much has been consumed, so that each byte is moved a few times at most.
void ReceivedBytes::makeRoom(std::size_t count) {
    const std::size_t held = size();
    if (!isBorrowing && !memory.empty()) {
        char* const begin = memory.data();
        const auto free = static_cast<std::size_t>(begin + memory.size() - cipherEnd);
        const auto consumed = static_cast<std::size_t>(plainBegin - begin);
        if (count <= free) {
            return;
        }
        if (held <= consumed && held + count <= memory.size()) {
            place(begin);
            return;
        }
    }
    Memory larger;
    larger.resize(held + std::max(held, count));
    place(larger.data());
    memory.swap(larger);
    isBorrowing = false;
    isTakenOver = false;
}

// Moves what is held to begin.
void ReceivedBytes::place(char* begin) noexcept {
    const std::size_t plainSize = plain().size();
    const std::size_t cipherSize = cipher().size();
    if (plainSize != 0) {
        std::memmove(begin, plainBegin, plainSize);
    }
    if (cipherSize != 0) {
        std::memmove(begin + plainSize, cipherBegin, cipherSize);
    }
    plainBegin = begin;
    plainEnd = cipherBegin = begin + plainSize;
    cipherEnd = cipherBegin + cipherSize;
}

} // namespace VexaSsl
