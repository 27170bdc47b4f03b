#include "certificates/CertificateFacts.h"

#include "certificates/CertificateInspector.h"
#include "common/LogCollector.h"
#include "common/Text.h"
#include "platform/contract/WindowsBase.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl::tool {

namespace {

std::wstring nameOf(PCCERT_CONTEXT certificate, DWORD type, DWORD flags) {
    DWORD form = CERT_X500_NAME_STR;
    const DWORD size = platform::CertGetNameStringW(certificate, type, flags, &form, nullptr, 0);
    std::wstring name(size, L'\0');
    const DWORD written =
        platform::CertGetNameStringW(certificate, type, flags, &form, name.data(), size);
    name.resize(written == 0 ? 0 : written - 1);
    return name;
}

std::string hashOf(PCCERT_CONTEXT certificate, DWORD property) {
    DWORD size = 0;
    if (!platform::CertGetCertificateContextProperty(certificate, property, nullptr, &size)) {
        return {};
    }
    std::vector<BYTE> hash(size);
    if (!platform::CertGetCertificateContextProperty(certificate, property, hash.data(), &size)) {
        return {};
    }
    return hexadecimal(hash);
}

void readUsages(PCCERT_CONTEXT certificate, CertificateFacts& facts) {
    DWORD size = 0;
    constexpr DWORD flags = CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG;
    if (!platform::CertGetEnhancedKeyUsage(certificate, flags, nullptr, &size)) {
        // Only a missing extension means any usage; an error while reading it doesn't.
        facts.restricted = platform::GetLastError() != static_cast<DWORD>(CRYPT_E_NOT_FOUND);
        return;
    }
    facts.restricted = true;
    // The platform writes a structure and its texts into this memory.
    std::vector<std::max_align_t> memory(size / sizeof(std::max_align_t) + 1);
    auto* usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(memory.data());
    if (!platform::CertGetEnhancedKeyUsage(certificate, flags, usage, &size)) {
        return;
    }
    facts.usages.assign(usage->rgpszUsageIdentifier,
                        usage->rgpszUsageIdentifier + usage->cUsageIdentifier);
}

struct NamedUsage {
    std::string_view identifier;
    const char* name;
};

constexpr NamedUsage namedUsages[] = {
    {"1.3.6.1.5.5.7.3.1", "server authentication"},
    {"1.3.6.1.5.5.7.3.2", "client authentication"},
    {"1.3.6.1.5.5.7.3.3", "code signing"},
    {"1.3.6.1.5.5.7.3.4", "e-mail"},
    {"1.3.6.1.5.5.7.3.8", "time stamping"},
    {"1.3.6.1.5.5.7.3.9", "OCSP signing"},
    {"2.5.29.37.0", "any usage"},
};

bool breaksLine(char32_t point) {
    return point == U'\t' || point == 0x2028 || point == 0x2029;
}

} // namespace

CertificateFacts factsOf(PCCERT_CONTEXT certificate) {
    LogCollector ignoredLog;
    CertificateFacts facts;
    facts.name = nameOf(certificate, CERT_NAME_FRIENDLY_DISPLAY_TYPE, 0);
    facts.subject = nameOf(certificate, CERT_NAME_RDN_TYPE, 0);
    facts.issuer = nameOf(certificate, CERT_NAME_RDN_TYPE, CERT_NAME_ISSUER_FLAG);
    facts.names = CertificateInspector(ignoredLog).getAllNames(certificate);
    facts.notBefore = utcTimeOf(certificate->pCertInfo->NotBefore);
    facts.notAfter = utcTimeOf(certificate->pCertInfo->NotAfter);
    readUsages(certificate, facts);
    facts.thumbprint = hashOf(certificate, CERT_SHA1_HASH_PROP_ID);
    facts.sha256 = hashOf(certificate, CERT_SHA256_HASH_PROP_ID);
    facts.encoded.assign(certificate->pbCertEncoded,
                         certificate->pbCertEncoded + certificate->cbCertEncoded);
    facts.key = keyFactsOf(facts.encoded);
    return facts;
}

bool areSame(PCCERT_CONTEXT left, PCCERT_CONTEXT right) {
    return std::equal(left->pbCertEncoded, left->pbCertEncoded + left->cbCertEncoded,
                      right->pbCertEncoded, right->pbCertEncoded + right->cbCertEncoded);
}

std::string usageName(const std::string& identifier) {
    for (const NamedUsage& usage : namedUsages) {
        if (usage.identifier == identifier) {
            return usage.name;
        }
    }
    return printableText(std::string_view(identifier));
}

std::string shownLine(std::wstring_view text) {
    std::u32string points = characters(text);
    std::replace_if(
        points.begin(), points.end(),
        [](char32_t point) { return breaksLine(point) || point == 0; }, U'?');
    return printableText(points);
}

std::string shownName(std::wstring_view text) {
    constexpr std::size_t longest = 250;
    const bool isCut = text.size() > longest;
    return shownLine(text.substr(0, longest)) + (isCut ? "..." : "");
}

std::string shownNames(const std::vector<std::wstring>& names) {
    constexpr std::size_t most = 20;
    std::string text;
    for (std::size_t i = 0; i < names.size() && i < most; ++i) {
        text += (i == 0 ? "" : ", ") + shownName(names[i]);
    }
    if (names.size() > most) {
        text += " and " + std::to_string(names.size() - most) + " more";
    }
    return names.empty() ? "none" : text;
}

std::string shownUsages(const CertificateFacts& facts) {
    if (!facts.restricted) {
        return "any";
    }
    std::vector<std::wstring> names;
    for (const std::string& usage : facts.usages) {
        names.push_back(widenedBytes(usageName(usage)));
    }
    return shownNames(names);
}

std::string shownTitle(const CertificateFacts& facts) {
    const std::wstring& title = facts.name.empty() ? facts.subject : facts.name;
    return title.empty() ? "(no name)" : shownName(title);
}

namespace {

constexpr std::size_t longestSerial = 40; // hexadecimal digits that an authority may use

std::string shownOrUnknown(const std::string& text) {
    return text.empty() ? "unknown" : text;
}

std::string shownKey(const KeyFacts& key) {
    const bool hasSize = key.keyBits != 0;
    return shownOrUnknown(key.keyType) +
           (hasSize ? ", " + std::to_string(key.keyBits) + " bits" : "");
}

} // namespace

std::vector<std::string> factLines(const CertificateFacts& facts) {
    std::vector<std::string> lines = {
        "subject     " + shownName(facts.subject),
        "issuer      " + shownName(facts.issuer),
        "names       " + shownNames(facts.names),
        "valid       " + utcText(facts.notBefore) + " to " + utcText(facts.notAfter),
        "usages      " + shownUsages(facts),
        "thumbprint  " + facts.thumbprint,
    };
    if (!facts.sha256.empty()) {
        lines.push_back("sha256      " + facts.sha256);
    }
    lines.push_back("public key  " + shownKey(facts.key));
    lines.push_back("signature   " + shownOrUnknown(facts.key.signature));
    lines.push_back("serial      " + shownOrUnknown(facts.key.serial.substr(0, longestSerial)));
    return lines;
}

void addFacts(JsonLine& line, const CertificateFacts& facts) {
    line.text("name", facts.name)
        .text("subject", facts.subject)
        .text("issuer", facts.issuer)
        .list("names", facts.names)
        .text("notBefore", utcTextForScripts(facts.notBefore))
        .text("notAfter", utcTextForScripts(facts.notAfter));
    if (facts.restricted) {
        line.list("usages", facts.usages);
    } else {
        line.nothing("usages");
    }
    line.text("thumbprint", facts.thumbprint);
    if (!facts.sha256.empty()) {
        line.text("sha256", facts.sha256);
    }
    line.text("serial", facts.key.serial)
        .text("publicKey", facts.key.keyType)
        .number("publicKeyBits", static_cast<std::int64_t>(facts.key.keyBits))
        .text("signature", facts.key.signature);
}

// Base64 in lines of 64 characters.
std::string pemText(const CertificateFacts& facts) {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr std::size_t bytesOfALine = 48;
    std::string text = "-----BEGIN CERTIFICATE-----\n";
    const std::vector<BYTE>& bytes = facts.encoded;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const auto byteAt = [&](std::size_t place) {
            return place < bytes.size() ? unsigned{bytes[place]} : 0U;
        };
        const unsigned group = byteAt(at) << 16 | byteAt(at + 1) << 8 | byteAt(at + 2);
        text += digits[group >> 18];
        text += digits[group >> 12 & 0x3F];
        text += at + 1 < bytes.size() ? digits[group >> 6 & 0x3F] : '=';
        text += at + 2 < bytes.size() ? digits[group & 0x3F] : '=';
        const bool endsLine = (at + 3) % bytesOfALine == 0 || at + 3 >= bytes.size();
        text += endsLine ? "\n" : "";
    }
    return text + "-----END CERTIFICATE-----\n";
}

} // namespace VexaSsl::tool
