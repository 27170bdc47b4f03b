#include "ScratchFolder.h"
#include "UnusedReason.h"
#include "common/CertificateFolder.h"
#include "common/ExitStatus.h"
#include "common/Text.h"

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

namespace VexaSsl::tool {

namespace {

namespace fs = std::filesystem;

fs::path existingFile(const std::string& name) {
    const fs::path path = fs::absolute(pathOfText(name));
    std::error_code unknown;
    if (!fs::exists(path, unknown)) {
        throw Failure(ExitStatus::Usage, "there is no file [" + name + "]");
    }
    return path;
}

bool isPkcs12(const fs::path& file) {
    return file.extension() == ".p12" || file.extension() == ".pfx";
}

void requireUsed(const fs::path& link, const std::string& name, ExitStatus status) {
    for (platform::UnusedCertificateFile unused : platform::unusedCertificateFiles()) {
        if (unused.path == link) {
            unused.path = fs::read_symlink(link); // the text may have a command for the file
            throw Failure(status, "[" + name + "] can't be used: " + describe(unused).text);
        }
    }
}

} // namespace

// A certificate folder of links: the trust anchors of the folder before it and those of the command
// line, and our own certificate or, if none is named, the personal store of the folder before it.
class AddedCertificates::Folder {
public:
    explicit Folder(const CertificateFiles& files) : before(platform::certificateFolder()) {
        scratch.addFolder("my");
        scratch.addFolder("root");
        linkPrevious("root", "root/1-");
        if (!files.root.empty()) {
            scratch.addLink(rootLink, existingFile(files.root));
        }
        if (files.certificate.empty()) {
            linkPrevious("my", "my/");
        } else {
            linkCertificate(files);
        }
        platform::setCertificateFolder(scratch.path());
    }
    ~Folder() { platform::setCertificateFolder(before); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    void requireUsable(const CertificateFiles& files) const {
        requireUsed(scratch.path() / rootLink, files.root, ExitStatus::Usage);
        if (!files.certificate.empty()) {
            requireUsed(scratch.path() / certificateLink, files.certificate,
                        ExitStatus::OwnCertificate);
        }
    }

private:
    // prefix: of the links' names.
    void linkPrevious(const std::string& subfolder, const std::string& prefix) {
        std::error_code unread; // a folder that can't be read has nothing for this account
        for (fs::directory_iterator entry(before / subfolder, unread), end; !unread && entry != end;
             entry.increment(unread)) {
            scratch.addLink(prefix + entry->path().filename().native(), entry->path());
        }
    }

    // The second file is the password of PKCS#12, else the key.
    void linkCertificate(const CertificateFiles& files) {
        const fs::path certificate = existingFile(files.certificate);
        fs::path second = certificate;
        std::string secondLink = "my/own.key";
        if (isPkcs12(certificate)) {
            certificateLink = "my/own" + certificate.extension().native();
            second += ".password";
            secondLink = certificateLink + ".password";
        } else if (!files.key.empty()) {
            second = existingFile(files.key);
        } else {
            second.replace_extension(".key");
        }
        scratch.addLink(certificateLink, certificate);
        std::error_code unknown;
        if (fs::exists(second, unknown)) {
            scratch.addLink(secondLink, second);
        }
    }

    const fs::path before;
    const std::string rootLink = "root/0-command-line.pem";
    std::string certificateLink = "my/own.pem";
    ScratchFolder scratch;
};

AddedCertificates::AddedCertificates(const CertificateFiles& files) {
    if (files.root.empty() && files.certificate.empty()) {
        return;
    }
    try {
        folder = std::make_unique<Folder>(files);
    } catch (const fs::filesystem_error& error) {
        throw Failure(ExitStatus::Usage, error.what());
    }
    folder->requireUsable(files);
}

AddedCertificates::~AddedCertificates() = default;

} // namespace VexaSsl::tool
