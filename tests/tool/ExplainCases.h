// The words that the tests of vexassl explain are written in.
#pragma once

#include "tool/StrangeCertificates.h"
#include "tool/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace VexaSsl::test {

// explain on the chain of a case of the tests.
inline Words ofCase(const std::string& name) {
    return {"explain", "--file", pki::file(name, "chain").string(), "--certificates",
            pki::folder().string()};
}

inline std::filesystem::path written(const std::string& content) {
    const auto file = freshFile(".pem");
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

inline Words ofFile(const std::filesystem::path& file) {
    return {"explain", "--file", file.string(), "--certificates", pki::folder().string()};
}

inline const Words forServer = {"--purpose", "server"};
inline const Words forClient = {"--purpose", "client"};

// Refused as wrong usage, with one line that says why and nothing on standard output.
inline void expectUsage(const Outcome& outcome, const std::string& line) {
    EXPECT_EQ(outcome.status, 1) << outcome.output;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(failureLines(outcome.errors), 1) << outcome.errors;
    EXPECT_THAT(outcome.errors, ::testing::HasSubstr(line));
}

} // namespace VexaSsl::test
