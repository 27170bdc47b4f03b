// The numbers of accepted and refused cases of a suite, reported at its end.
#pragma once

#include "fakes/Sweep.h"

#include <gtest/gtest.h>

#include <cctype>
#include <iostream>
#include <string>

namespace VexaSsl::test {

class Counts {
public:
    void note(bool isGood, bool accepted) {
        ++(isGood ? good : bad);
        if (isGood == accepted) {
            ++(isGood ? goodAccepted : badRefused);
        }
    }
    void noteDifference(bool accepted, const std::string& fact, const std::string& reason) {
        ++(accepted ? laxer : stricter);
        differences += (accepted ? "  accepted only here: " : "  refused only here: ") + fact +
                       " (" + reason + ")\n";
    }

    // isCompared: whether the cases were compared with the openssl command.
    void report(const std::string& suite, bool isCompared = true) const {
        if (good + bad == 0) {
            return;
        }
        const auto of = [](int part, int all) {
            return std::to_string(part) + " of " + std::to_string(all);
        };
        const std::string compared =
            !isCompared ? ""
                        : "; refused but accepted by openssl verify: " + std::to_string(stricter) +
                              ", the reverse: " + std::to_string(laxer);
        reportFigure("Names and chains", suite + ": good accepted " + of(goodAccepted, good) +
                                             ", bad refused " + of(badRefused, bad) + compared);
        std::cout << differences << std::flush;
    }

private:
    int good = 0;
    int bad = 0;
    int stricter = 0; // than the openssl command
    int laxer = 0;    // likewise
    int goodAccepted = 0;
    int badRefused = 0;
    std::string differences; // from the openssl command, one line each
};

// Reasons for unexpected outcomes of a case.
struct Remark {
    std::string stricter = {}; // why we refuse what the openssl command accepts
    std::string laxer = {};    // why we accept what it refuses
    std::string harmless = {}; // why both refuse a valid certificate
};

// Compares our outcome with that of the openssl command. They may differ only if the case has the
// reason.
inline void compare(Counts& counts, const std::string& fact, bool expected, bool accepted,
                    bool acceptedByOpenSsl, const Remark& remark, const std::string& output) {
    EXPECT_EQ(accepted, expected);
    const bool expectedOfOpenSsl = expected ? remark.laxer.empty() : !remark.stricter.empty();
    EXPECT_EQ(acceptedByOpenSsl, expectedOfOpenSsl) << output;
    counts.note(expected || !remark.harmless.empty(), accepted);
    if (accepted != acceptedByOpenSsl) {
        counts.noteDifference(accepted, fact, accepted ? remark.laxer : remark.stricter);
    }
}

// The name of a case's test.
inline std::string nameOfFact(std::string fact) {
    std::string name;
    bool capital = false;
    for (const char byte : fact) {
        const bool isLetter = std::isalnum(static_cast<unsigned char>(byte)) != 0;
        if (isLetter) {
            name +=
                capital ? static_cast<char>(std::toupper(static_cast<unsigned char>(byte))) : byte;
        }
        capital = !isLetter;
    }
    return name;
}

} // namespace VexaSsl::test
