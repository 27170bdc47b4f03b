// Certificates encoded here and signed with keys of the system's provider, so that no other library
// is needed.
#include "contract/support/ThrowawayPki.h"

#include "ContainerKey.h"
#include "Der.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <sstream>
#include <stdexcept>

namespace VexaSsl::test {
namespace {

constexpr unsigned defaultKeyBits = 2048;

const char* attributeIdentifier(const std::string& name) {
    if (name == "CN") {
        return "2.5.4.3";
    }
    if (name == "O") {
        return "2.5.4.10";
    }
    return "1.2.840.113549.1.9.1"; // emailAddress
}

std::string nameOf(const Recipe& recipe) {
    std::string relative;
    for (const auto& [attribute, value] : recipe.subject) {
        relative +=
            setOf(sequence({objectIdentifier(attributeIdentifier(attribute)), utf8String(value)}));
    }
    return sequence({relative});
}

std::string timeOf(int days) {
    const std::time_t time = std::time(nullptr) + std::time_t{days} * 24 * 60 * 60;
    const std::tm* utc = std::gmtime(&time);
    std::array<char, 32> text{};
    std::strftime(text.data(), text.size(), "%Y%m%d%H%M%SZ", utc);
    return generalizedTime(text.data());
}

std::string serialNumber() {
    static std::atomic<unsigned> issued{0};
    std::string number(1, '\x01');
    const unsigned long long unique =
        (static_cast<unsigned long long>(GetCurrentProcessId()) << 32) ^ GetTickCount();
    for (int shift = 56; shift >= 0; shift -= 8) {
        number += static_cast<char>(unique >> shift & 0xFF);
    }
    number += static_cast<char>(++issued & 0x7F);
    return integer(number);
}

std::string extension(const char* kind, bool critical, const std::string& value) {
    if (critical) {
        return sequence({objectIdentifier(kind), booleanTrue(), octetString(value)});
    }
    return sequence({objectIdentifier(kind), octetString(value)});
}

bool has(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

std::string constraintsExtension(const std::string& text) {
    if (text.empty()) {
        return "";
    }
    std::string content = booleanTrue();
    if (has(text, "pathlen:0")) {
        content += integer(std::string(1, '\0'));
    }
    return extension("2.5.29.19", has(text, "critical"), sequence({content}));
}

std::string usagesExtension(const std::string& text) {
    if (text.empty()) {
        return "";
    }
    std::string content;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, ',');) {
        if (name == "serverAuth") {
            content += objectIdentifier("1.3.6.1.5.5.7.3.1");
        } else if (name == "clientAuth") {
            content += objectIdentifier("1.3.6.1.5.5.7.3.2");
        } else {
            content += objectIdentifier("2.5.29.37.0"); // any
        }
    }
    return extension("2.5.29.37", false, sequence({content}));
}

std::string alternativeNames(const Recipe& recipe) {
    std::string content;
    for (const std::string& name : recipe.dnsNames) {
        content += tagged(0x82, name);
    }
    for (const std::string& name : recipe.emailNames) {
        content += tagged(0x81, name);
    }
    return content.empty() ? "" : extension("2.5.29.17", false, sequence({content}));
}

std::string nameConstraints(const std::string& permitted) {
    if (permitted.empty()) {
        return "";
    }
    const std::string tree = sequence({tagged(0x82, permitted)});
    return extension("2.5.29.30", true, sequence({explicitTag(0, tree)}));
}

std::string extensionsOf(const Recipe& recipe, const ContainerKey& own, const Issued* issuer) {
    std::string all = extension("2.5.29.14", false, octetString(own.identifier));
    if (issuer) {
        all += extension("2.5.29.35", false, sequence({tagged(0x80, issuer->key->identifier)}));
    }
    all += constraintsExtension(recipe.basicConstraints) + usagesExtension(recipe.usages) +
           nameConstraints(recipe.permittedDnsName) + alternativeNames(recipe);
    if (!recipe.criticalExtension.empty()) {
        all += extension(recipe.criticalExtension.c_str(), true, nullValue());
    }
    return explicitTag(3, sequence({all}));
}

// Returns a different key for each certificate of a process.
std::shared_ptr<const ContainerKey> nextKey(unsigned bits) {
    static std::atomic<unsigned> used{0};
    return std::make_shared<const ContainerKey>(bits ? bits : defaultKeyBits, used++);
}

} // namespace

Issued issue(const Recipe& recipe, const Issued* issuer) {
    Issued issued;
    issued.key = nextKey(recipe.rsaBits);
    issued.subject = nameOf(recipe);
    const std::string algorithm =
        sequence({objectIdentifier("1.2.840.113549.1.1.11"), nullValue()});
    const std::string body =
        sequence({explicitTag(0, integer(std::string(1, '\x02'))), serialNumber(), algorithm,
                  issuer ? issuer->subject : issued.subject,
                  sequence({timeOf(recipe.firstDay), timeOf(recipe.lastDay)}), issued.subject,
                  issued.key->publicKey, extensionsOf(recipe, *issued.key, issuer)});
    const ContainerKey& signer = issuer ? *issuer->key : *issued.key;
    issued.encoding = sequence({body, algorithm, bitString(signer.sign(body))});
    return issued;
}

Issued withBrokenSignature(const Issued& issued) {
    Issued broken = issued;
    broken.encoding.back() = static_cast<char>(broken.encoding.back() ^ 1);
    return broken;
}

std::string der(const Issued& issued) {
    return issued.encoding;
}

} // namespace VexaSsl::test
