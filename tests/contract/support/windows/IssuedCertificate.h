// A test certificate and its key, which is in a key container.
#pragma once

#include <memory>
#include <string>

namespace VexaSsl::test {

struct ContainerKey;

struct Issued {
    std::string encoding; // DER
    std::string subject;  // the encoded name
    std::shared_ptr<const ContainerKey> key;
};

} // namespace VexaSsl::test
