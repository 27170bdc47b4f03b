// The DER encoding of an OpenSSL object.
#pragma once

#include "platform/openssl/stores/OpenSslOwners.h"

#include <vector>

namespace VexaSsl::openssl {

// encode: the i2d function of the object's type.
template <class T, class Encode>
std::vector<unsigned char> encoded(T* object, Encode encode) {
    unsigned char* bytes = nullptr;
    const int size = encode(object, &bytes);
    const BytesPointer owner(orOutOfMemory(bytes));
    return {bytes, bytes + size};
}

} // namespace VexaSsl::openssl
