// What may never reach a log: what connections carry, and keys. Every log of the tests searches
// each line that it is given, and a line that holds some of it fails the test under way. What a
// test program has searched is a figure at its end.
//
// Threads: any. Nothing here allocates memory, so that tests may make allocations fail.
#pragma once

#include <cstddef>
#include <string_view>

namespace VexaSsl::test::secrets {

// Remembers the beginning of what a connection is given to carry; the oldest of some dozen is
// forgotten for it. Too short a text could stand in a line by chance and is left out.
void carry(std::string_view bytes);

// Remembers a piece of a private key: of the first line of its base64 text.
void learnKey(std::string_view pem);

// Looks for what is remembered: as it is, and in hexadecimal.
void searchIn(std::wstring_view line);
// The same in what a program has said: a text of any number of lines.
void searchIn(std::string_view said);

struct Tally {
    std::size_t lines = 0; // searched
    std::size_t contents = 0;
    std::size_t keys = 0;
    std::size_t found = 0;
};
// Of the process so far.
Tally tally();
// Takes back what a test of the search itself has found.
void forgetFindings();

} // namespace VexaSsl::test::secrets
