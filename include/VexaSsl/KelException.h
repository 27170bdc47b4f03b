// What a call through an abstract operation of the library's interfaces ends in. It stands for a
// state that must not occur: an operation reached through an object that isn't built yet or is
// destroyed already. Before it is thrown the library has the platform's process-dump library
// "kelmo" write a dump, if there is such a library.
//
// It has no base class: a handler for std::exception doesn't catch it. And it is thrown for objects
// of the library only. The table of operations of a class that a host derives itself, from ILog for
// instance, lies in the host, and there an abstract slot leads to the handler of the host's
// runtime, which ends the process.
#pragma once

#include <cstdint>

namespace VexaSsl {

// Both numbers have a meaning for the dump's reader only.
class KelException {
public:
    // Of these two numbers.
    KelException(std::int32_t firstNumber, std::int32_t secondNumber) noexcept
        : first(firstNumber), second(secondNumber) {}

    std::int32_t first;  // for the dump's reader
    std::int32_t second; // the same
};

} // namespace VexaSsl
