// The base of every test of the contract suite. What the system at hand can't show is named in a
// table of that system (support/<system>/Exceptions.cpp) and skipped with the reason beside it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {

// One test, or all that begin alike when the name ends with "*".
struct Exception {
    const char* test; // "Suite.test", a value-parameterised one as "Values/Suite.test/0"
    const char* reason;

    bool covers(const std::string& name) const;
};

std::string nameOf(const ::testing::TestInfo& test);

// The tests that can't run on this system; each names at least one test of the suite.
const std::vector<Exception>& exceptionsOfThisSystem();

class ContractTest : public ::testing::Test {
protected:
    // A fixture that overrides this calls it first and ends when IsSkipped().
    void SetUp() override;
};

} // namespace VexaSsl::test
