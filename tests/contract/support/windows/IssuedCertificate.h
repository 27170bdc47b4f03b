// A throwaway certificate and its key, which lies in a container of the system's.
#pragma once

#include <memory>
#include <string>

namespace VexaSsl::test {

struct ContainerKey;

struct Issued {
    std::string encoding; // DER
    std::string subject;  // its name as it stands in there
    std::shared_ptr<const ContainerKey> key;
};

} // namespace VexaSsl::test
