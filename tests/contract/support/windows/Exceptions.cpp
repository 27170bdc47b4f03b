#include "contract/support/ContractTest.h"

namespace VexaSsl::test {

const std::vector<Exception>& exceptionsOfThisSystem() {
    static const std::vector<Exception> all;
    return all;
}

} // namespace VexaSsl::test
