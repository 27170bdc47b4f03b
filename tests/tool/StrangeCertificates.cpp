#include "tool/StrangeCertificates.h"

#include "integration/support/Pki.h"
#include "tool/Command.h"

#include <gtest/gtest.h>

#include <fstream>

namespace VexaSsl::test {

namespace {

void runOpenssl(const Words& arguments) {
    Command command(Words{"openssl"} + arguments);
    EXPECT_EQ(command.exitStatus(), 0) << command.errors();
}

std::filesystem::path writtenFile(const std::string& extension, const std::string& content) {
    const auto file = freshFile(extension);
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

std::string configurationOf(const StrangeCertificate& certificate) {
    std::string text =
        "[req]\ndistinguished_name=dn\nx509_extensions=ext\n[dn]\n[ext]\n" + certificate.extensions;
    if (!certificate.alternativeNames.empty()) {
        return text + "subjectAltName=" + certificate.alternativeNames + "\n";
    }
    if (certificate.dnsNames.empty()) {
        return text;
    }
    text += "subjectAltName=@names\n[names]\n";
    for (std::size_t i = 0; i < certificate.dnsNames.size(); ++i) {
        text += "DNS." + std::to_string(i) + "=" + certificate.dnsNames[i] + "\n";
    }
    return text;
}

std::filesystem::path freshFolder() {
    const auto folder = freshFile(".certificates");
    std::filesystem::create_directories(folder / "my");
    std::filesystem::create_directories(folder / "root");
    std::filesystem::copy(pki::folder() / "root" / "authority.pem", folder / "root");
    return folder;
}

} // namespace

std::filesystem::path makeStrange(const StrangeCertificate& certificate) {
    const auto file = freshFile(".pem");
    const auto key = freshFile(".key");
    Words issuer;
    if (!certificate.issuer.empty()) {
        issuer = {"-CA", certificate.issuer.string(), "-CAkey", certificate.issuer.string()};
    }
    runOpenssl(Words{"req", "-x509", "-utf8", "-newkey", "ec", "-pkeyopt",
                     "ec_paramgen_curve:P-256", "-nodes", "-days", "1000", "-subj",
                     "/CN=" + certificate.commonName, "-config",
                     writtenFile(".cnf", configurationOf(certificate)).string(), "-keyout",
                     key.string(), "-out", file.string()} +
               issuer);
    std::ofstream(file, std::ios::app) << contents(key);
    return file;
}

namespace {

// The certificate of a file with the byte changed at the position that place returns.
template <typename Place>
std::string damaged(const std::filesystem::path& pem, Place place) {
    const auto encoded = freshFile(".der");
    runOpenssl({"x509", "-in", pem.string(), "-outform", "DER", "-out", encoded.string()});
    std::string bytes = contents(encoded);
    char& byte = bytes.at(place(bytes));
    byte = static_cast<char>(byte ^ 1);
    const auto file = freshFile(".pem");
    runOpenssl({"x509", "-inform", "DER", "-in", writtenFile(".der", bytes).string(), "-out",
                file.string()});
    return contents(file);
}

} // namespace

CoveredName makeCoveredName() {
    const auto authority =
        makeStrange({.commonName = "Excluding",
                     .dnsNames = {},
                     .extensions = "basicConstraints=critical,CA:TRUE\n"
                                   "nameConstraints=critical,excluded;DNS:evil.wild.test\n"});
    return {authority,
            makeStrange({.commonName = "wild", .dnsNames = {"*.wild.test"}, .issuer = authority})};
}

std::string withDamagedSignature(const std::filesystem::path& pem) {
    return damaged(pem, [](const std::string& bytes) { return bytes.size() - 1; });
}

std::string withDamagedKey(const std::filesystem::path& pem) {
    const std::string point("\x03\x42\0\x04", 4); // a bit string with both coordinates of P-256
    return damaged(pem, [&](const std::string& bytes) {
        return bytes.find(point) + point.size() + 63; // the last byte
    });
}

std::filesystem::path withWeakSignature() {
    const auto file = freshFile(".pem");
    const auto key = freshFile(".key");
    runOpenssl({"req",      "-x509",
                "-sha1",    "-newkey",
                "rsa:2048", "-nodes",
                "-days",    "1000",
                "-subj",    "/O=case weak-signature/CN=localhost",
                "-addext",  "extendedKeyUsage=serverAuth",
                "-addext",  "basicConstraints=critical,CA:FALSE",
                "-CA",      pki::file("authority", "cert").string(),
                "-CAkey",   pki::file("authority", "key").string(),
                "-keyout",  key.string(),
                "-out",     file.string()});
    std::ofstream(file, std::ios::app) << contents(key);
    return file;
}

OwnCertificates::OwnCertificates() : folder(freshFolder()) {}

void OwnCertificates::put(const std::string& name, const std::string& content) const {
    std::ofstream(folder / "my" / name, std::ios::binary) << content;
}

void OwnCertificates::putCase(const std::string& name) const {
    put(name + ".pem", contents(pki::folder() / "my" / (name + ".pem")));
}

} // namespace VexaSsl::test
