// The base of every contract test. Tests that a system can't pass are listed with the reason in
// support/<system>/SkippedTests.cpp and skipped there.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace VexaSsl::test {

// One test, or all tests with a common prefix if the name ends with "*".
struct SkippedTest {
    const char*
        test; // "CipherSuite.test", a value-parameterised one as "Values/CipherSuite.test/0"
    const char* reason;

    bool covers(const std::string& name) const;
};

std::string nameOf(const ::testing::TestInfo& test);

// The tests skipped on this system. Each entry covers at least one test.
const std::vector<SkippedTest>& skippedTests();

class ContractTest : public ::testing::Test {
protected:
    // A fixture that overrides this calls it first and ends when IsSkipped().
    void SetUp() override;
};

} // namespace VexaSsl::test
