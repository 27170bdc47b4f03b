// Searches log lines for secrets: data of connections and private keys. Every log of the tests
// searches its lines, and a line with a secret fails the test. A test program prints the number of
// lines searched at its end.
//
// Threads: any. Allocates no memory, so that tests may make allocations fail.
#pragma once

#include <cstddef>
#include <string_view>

namespace VexaSsl::test::secrets {

// Adds the beginning of a connection's data, replacing the oldest of some dozens. A text that is so
// short that it could occur by chance is ignored.
void addContent(std::string_view bytes);

// Adds a part of the first line of a private key's base64 text.
void addKey(std::string_view pem);

// Searches a line for the secrets, as is and in hexadecimal.
void searchIn(std::wstring_view line);
// The same for the output of a program, of any number of lines.
void searchIn(std::string_view output);

struct Tally {
    std::size_t lines = 0; // searched
    std::size_t contents = 0;
    std::size_t keys = 0;
    std::size_t found = 0;
};
// The counts of this process.
Tally tally();
// Resets what a test of the search has found.
void resetFindings();

} // namespace VexaSsl::test::secrets
