// An array of secret bytes, wiped by the destructor.
#pragma once

#include <openssl/crypto.h>

#include <array>
#include <cstddef>

namespace VexaSsl::openssl {

template <std::size_t count>
struct SecretArray : std::array<unsigned char, count> {
    SecretArray() : std::array<unsigned char, count>{} {}
    SecretArray(const SecretArray&) = default;
    SecretArray& operator=(const SecretArray&) = default;
    ~SecretArray() { OPENSSL_cleanse(this->data(), count); }
};

} // namespace VexaSsl::openssl
