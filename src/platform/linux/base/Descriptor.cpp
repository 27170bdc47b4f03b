#include "platform/linux/base/Descriptor.h"

#include <unistd.h>

namespace VexaSsl::linux {

Descriptor::~Descriptor() {
    if (value >= 0) {
        ::close(value);
    }
}

} // namespace VexaSsl::linux
