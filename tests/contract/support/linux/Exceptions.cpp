// The Linux binding shows everything that the contract promises.
#include "contract/support/ContractTest.h"

namespace VexaSsl::test {

const std::vector<Exception>& exceptionsOfThisSystem() {
    static const std::vector<Exception> none;
    return none;
}

} // namespace VexaSsl::test
