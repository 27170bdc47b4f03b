// A text file for each test, and a scoped global locale.
#pragma once

#include "contract/support/ContractTest.h"
#include "contract/support/System.h"
#include "platform/contract/TextFiles.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <locale>
#include <string>
#include <vector>

namespace VexaSsl::test {

using Lines = std::vector<std::wstring>;

// Sets the global locale while it lives.
class GlobalLocale {
public:
    explicit GlobalLocale(const std::locale& locale) : former(std::locale::global(locale)) {}
    ~GlobalLocale() { std::locale::global(former); }
    GlobalLocale(const GlobalLocale&) = delete;
    GlobalLocale& operator=(const GlobalLocale&) = delete;

private:
    const std::locale former;
};

class TextFileTest : public ContractTest {
protected:
    ~TextFileTest() override { std::filesystem::remove_all(folder); }

    std::filesystem::path path() const { return folder / "text"; }
    void putBytes(const std::string& bytes) const {
        std::ofstream(path(), std::ios::binary) << bytes;
    }
    std::string bytes() const {
        std::ifstream file(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    Lines lines() const {
        std::wifstream stream;
        platform::openTextFile(stream, path());
        EXPECT_TRUE(stream.good());
        Lines all;
        for (std::wstring line; platform::getTextLine(stream, line);) {
            all.push_back(line);
        }
        return all;
    }
    // Appends text. Returns whether the stream is still good after the flush.
    bool append(const std::wstring& text) const {
        std::wfstream stream;
        platform::openTextFile(stream, path(), std::ios::out | std::ios::app);
        stream << text << std::flush;
        return stream.good();
    }

    const std::filesystem::path folder = makeTemporaryFolder();
};

} // namespace VexaSsl::test
