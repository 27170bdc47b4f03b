// The current certificate folder, whose keys and passwords are known secrets.
//
// my/ has good.pem and good.key (a server with an elliptic key), boxed.p12 with its password file
// (a server with an RSA key), wrong.p12 with a wrong password file, closed.pem and closed.key (a
// key with a pass phrase), spoiled.pem (a truncated key) and client.pem.
#pragma once

#include "secrets/Secrets.h"

#include <filesystem>
#include <string>

namespace VexaSsl::test {

class SecretFolder {
public:
    SecretFolder();
    ~SecretFolder();
    SecretFolder(const SecretFolder&) = delete;
    SecretFolder& operator=(const SecretFolder&) = delete;

    std::filesystem::path path(const std::string& name = {}) const { return folder / name; }

    Secrets secrets;

private:
    void addKey(const std::string& name, const std::string& file);
    void copy(const std::string& from, const std::string& kind, const std::string& to);
    void box(const std::string& from, const std::string& to, const std::string& password,
             const std::string& said);

    std::filesystem::path folder;
};

// Captures what the process prints to standard output and standard error during its lifetime.
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;

    std::string stop();

private:
    std::filesystem::path file;
    int formerOutput;
    int formerErrors;
};

} // namespace VexaSsl::test
