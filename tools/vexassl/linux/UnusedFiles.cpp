#include "UnusedReason.h"
#include "common/Text.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

using FileFault = platform::CertificateFileFault;

struct Reason {
    const char* identifier;
    const char* text;
};

Reason reasonOf(FileFault fault) {
    switch (fault) {
    case FileFault::Missing:
        return {"missing", "there is no such folder, or it is a link that leads nowhere"};
    case FileFault::Denied:
        return {"denied", "this account may not read it"};
    case FileFault::NotAFile:
        return {"not-a-file", "it is no regular file (or no folder, where one should be), or too "
                              "large"};
    case FileFault::Unavailable:
        return {"unavailable", "it couldn't be read now: descriptors or memory are short, or the "
                               "disk failed"};
    case FileFault::Damaged:
        return {"damaged", "something in it is damaged, or isn't what its title says"};
    case FileFault::NoCertificate:
        return {"no-certificate", "there is no certificate in it"};
    case FileFault::NoKey:
        return {"no-key", "it has no private key, in itself or in the file beside it that ends in "
                          ".key; certificates to be sent along belong in the file that they go "
                          "with"};
    case FileFault::ForeignKey:
        return {"foreign-key", "the private key belongs to another certificate"};
    case FileFault::WrongPassword:
        return {"wrong-password", "the password doesn't open it; it is the first line of the file "
                                  "beside it that ends in .password, or empty"};
    case FileFault::UnsupportedCipher: // its text names the file
        return {"unsupported-cipher", ""};
    case FileFault::UnknownExtension:
        break;
    }
    return {"unknown-extension", "its name ends in none of .pem, .crt, .cer, .p12 and .pfx"};
}

// The converted file is one of the store too.
std::string conversionOf(const platform::UnusedCertificateFile& file) {
    std::filesystem::path converted = file.path;
    converted.replace_extension(".pem");
    return "it is encrypted with " +
           (file.algorithm.empty() ? std::string("an algorithm") : file.algorithm) +
           ", which OpenSSL doesn't offer here, or only in its legacy provider; convert it with: "
           "openssl pkcs12 -legacy -in " +
           shellWord(pathText(file.path)) + " -noenc -out " + shellWord(pathText(converted));
}

} // namespace

UnusedFile describe(const platform::UnusedCertificateFile& file) {
    const Reason reason = reasonOf(file.fault);
    const std::string text =
        file.fault == FileFault::UnsupportedCipher ? conversionOf(file) : std::string(reason.text);
    return {printableText(pathText(file.path)), reason.identifier,
            printableText(std::string_view(text))};
}

std::vector<UnusedFile> unusedFiles() {
    std::vector<UnusedFile> files;
    for (const platform::UnusedCertificateFile& file : platform::unusedCertificateFiles()) {
        files.push_back(describe(file));
    }
    return files;
}

} // namespace VexaSsl::tool
