#include "platform/linux/base/HandleTable.h"

#include <atomic>

namespace VexaSsl::linux {

HANDLE nextHandle() noexcept {
    static std::atomic<ULONG_PTR> last{0};
    return reinterpret_cast<HANDLE>(last.fetch_add(handleStep) + handleStep);
}

} // namespace VexaSsl::linux
