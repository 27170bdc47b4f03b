// Looks for secrets in what was said: any eight bytes of one as text, six as hexadecimal digits in
// whatever spacing, nine as base64 at any alignment.
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
    // name: what a finding is called. A secret of fewer than nine bytes can't be told from chance.
    void add(const std::string& name, const std::string& bytes);

    // The names of the secrets of which a part stands in the text, each with its form.
    std::vector<std::string> foundIn(std::string_view text) const;
    std::vector<std::string> foundIn(std::wstring_view text) const;

    std::size_t count() const { return names; }

private:
    std::size_t names = 0;
    std::map<std::string, std::string, std::less<>> texts; // a part, and whose it is
    std::map<std::string, std::string, std::less<>> hexadecimals;
    std::map<std::string, std::string, std::less<>> base64s;
};

// Letters and digits that nothing else says, the same each time for the same number.
std::string markedText(unsigned number, std::size_t size);

} // namespace VexaSsl::test
