// Searches text for secrets: any eight bytes of one as text, six as hexadecimal digits with any
// spacing, nine as base64 at any alignment.
//
// Threads: one at a time.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::test {

class Secrets {
public:
    // name: printed with a finding. A secret must have at least nine bytes.
    void add(const std::string& name, const std::string& bytes);

    // Returns the names of the secrets of which the text contains a part, each with its encoding.
    std::vector<std::string> foundIn(std::string_view text) const;
    std::vector<std::string> foundIn(std::wstring_view text) const;

    std::size_t count() const { return names; }

private:
    std::size_t names = 0;
    std::map<std::string, std::string, std::less<>>
        texts; // a part of a secret, and the name of the secret
    std::map<std::string, std::string, std::less<>> hexadecimals;
    std::map<std::string, std::string, std::less<>> base64s;
};

// Returns a unique text of letters and digits, always the same for a number.
std::string markedText(unsigned number, std::size_t size);

} // namespace VexaSsl::test
