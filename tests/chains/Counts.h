// How many cases of a suite were taken and refused, told at its end.
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
            ++(isGood ? taken : refused);
        }
    }
    void noteDifference(bool accepted, const std::string& fact, const std::string& reason) {
        ++(accepted ? laxer : stricter);
        differences += (accepted ? "  taken only here: " : "  refused only here: ") + fact + " (" +
                       reason + ")\n";
    }

    // isCompared: with OpenSSL's command.
    void tell(const std::string& suite, bool isCompared = true) const {
        if (good + bad == 0) {
            return;
        }
        const auto of = [](int part, int all) {
            return std::to_string(part) + " of " + std::to_string(all);
        };
        const std::string compared =
            !isCompared ? ""
                        : "; refused where openssl verify takes it: " + std::to_string(stricter) +
                              ", the other way round: " + std::to_string(laxer);
        reportFigure("Names and chains", suite + ": good taken " + of(taken, good) +
                                             ", bad refused " + of(refused, bad) + compared);
        std::cout << differences << std::flush;
    }

private:
    int good = 0;
    int bad = 0;
    int stricter = 0; // than OpenSSL's command
    int laxer = 0;
    int taken = 0;
    int refused = 0;
    std::string differences; // from OpenSSL's command, a line each
};

// What there is to say of a case that isn't judged as one might expect.
struct Remark {
    std::string stricter = {}; // why we refuse what OpenSSL's command takes
    std::string laxer = {};    // why we take what it refuses: it was asked something else
    std::string harmless = {}; // why both refuse what is good
};

// What either judge said of one case, compared. Ours may be the stricter one where the case says
// why; the other way round must be no more than another way to ask.
inline void compare(Counts& counts, const std::string& fact, bool isTaken, bool accepted,
                    bool acceptedByOpenSsl, const Remark& remark, const std::string& output) {
    EXPECT_EQ(accepted, isTaken);
    const bool expectedOfOpenSsl = isTaken ? remark.laxer.empty() : !remark.stricter.empty();
    EXPECT_EQ(acceptedByOpenSsl, expectedOfOpenSsl) << output;
    counts.note(isTaken || !remark.harmless.empty(), accepted);
    if (accepted != acceptedByOpenSsl) {
        counts.noteDifference(accepted, fact, accepted ? remark.laxer : remark.stricter);
    }
}

// What the fact of a case becomes in the name of its test.
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
