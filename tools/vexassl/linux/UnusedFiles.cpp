#include "common/UnusedFiles.h"

#include "VexaPlatform/Certificates.h"
#include "common/Text.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

using Fault = platform::CertificateFileFault;

struct Reason {
    const char* identifier;
    const char* text;
};

Reason reasonOf(Fault fault) {
    switch (fault) {
    case Fault::Missing:
        return {"missing", "there is no such folder, or it is a link that leads nowhere"};
    case Fault::Denied:
        return {"denied", "this account may not read it"};
    case Fault::NotAFile:
        return {"not-a-file", "it is no regular file (or no folder, where one should be), or too "
                              "large"};
    case Fault::Unavailable:
        return {"unavailable", "it couldn't be read now: descriptors or memory are short, or the "
                               "disk failed"};
    case Fault::Damaged:
        return {"damaged", "something in it is damaged, or isn't what its title says"};
    case Fault::NoCertificate:
        return {"no-certificate", "there is no certificate in it"};
    case Fault::NoKey:
        return {"no-key", "it has no private key, in itself or in the file beside it that ends in "
                          ".key; certificates to be sent along belong in the file that they go "
                          "with"};
    case Fault::ForeignKey:
        return {"foreign-key", "the private key belongs to another certificate"};
    case Fault::WrongPassword:
        return {"wrong-password", "the password doesn't open it; it is the first line of the file "
                                  "beside it that ends in .password, or empty"};
    case Fault::UnsupportedCipher: // its text names the file
        return {"unsupported-cipher", ""};
    case Fault::UnknownExtension:
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

std::vector<UnusedFile> unusedFiles() {
    std::vector<UnusedFile> files;
    for (const platform::UnusedCertificateFile& file : platform::unusedCertificateFiles()) {
        const Reason reason = reasonOf(file.fault);
        const std::string text =
            file.fault == Fault::UnsupportedCipher ? conversionOf(file) : std::string(reason.text);
        files.push_back({printableText(pathText(file.path)), reason.identifier,
                         printableText(std::string_view(text))});
    }
    return files;
}

} // namespace VexaSsl::tool
