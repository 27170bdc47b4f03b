#include "platform/openssl/stores/CertificateNames.h"

#include "platform/openssl/stores/OpenSslOwners.h"
#include "platform/openssl/stores/SubjectText.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::openssl {
namespace {

using AlternativeNames = std::unique_ptr<GENERAL_NAMES, Release<GENERAL_NAMES_free>>;

bool isControl(wchar_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0);
}

bool isBidiControl(wchar_t unit) {
    return (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069);
}

std::string_view bytesOf(const ASN1_STRING* string) {
    return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(string)),
            static_cast<std::size_t>(ASN1_STRING_length(string))};
}

// Returns nothing for a name that could be mistaken for another one when it is printed or compared.
// These names are IA5 strings (internationalised ones are in xn-- form), so only visible ASCII is
// valid.
std::optional<std::wstring> validName(std::string_view bytes) {
    const bool isPlain = std::all_of(bytes.begin(), bytes.end(),
                                     [](char byte) { return byte > ' ' && byte < '\x7F'; });
    if (bytes.empty() || !isPlain) {
        return std::nullopt;
    }
    return std::wstring(bytes.begin(), bytes.end());
}

AlternativeNames alternativeNames(const X509* certificate) {
    return AlternativeNames(static_cast<GENERAL_NAMES*>(
        X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
}

std::vector<std::wstring> alternativeNamesOf(const X509* certificate, int type) {
    const AlternativeNames names = alternativeNames(certificate);
    std::vector<std::wstring> found;
    for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type != type) {
            continue;
        }
        if (auto text = validName(bytesOf(name->d.ia5))) {
            found.push_back(std::move(*text));
        }
    }
    return found;
}

// Returns the values of the attribute in the order of the name.
std::vector<std::wstring> attributesOf(const X509_NAME* name, int nid) {
    std::vector<std::wstring> values;
    for (int next = -1; (next = X509_NAME_get_index_by_NID(name, nid, next)) >= 0;) {
        values.push_back(attributeText(X509_NAME_get_entry(name, next)));
    }
    return values;
}

// Returns the value of the attribute; of several, the last, which is the most specific. Empty when
// the name doesn't have it.
std::wstring attributeOf(const X509_NAME* name, int nid) {
    std::vector<std::wstring> values = attributesOf(name, nid);
    return values.empty() ? std::wstring() : std::move(values.back());
}

bool isLetterOrDigit(wchar_t unit) {
    return (unit >= L'a' && unit <= L'z') || (unit >= L'A' && unit <= L'Z') ||
           (unit >= L'0' && unit <= L'9');
}

bool isLabel(std::wstring_view label) {
    return !label.empty() && label.size() <= 63 && label.front() != L'-' && label.back() != L'-' &&
           std::all_of(label.begin(), label.end(), [](wchar_t unit) {
               return isLetterOrDigit(unit) || unit == L'-' || unit == L'_';
           });
}

bool isNumber(std::wstring_view label) {
    return std::all_of(label.begin(), label.end(),
                       [](wchar_t unit) { return unit >= L'0' && unit <= L'9'; });
}

// Labels of letters, digits, hyphens and underscores; the first of several may be "*". The last one
// is not a number, which excludes IPv4 addresses.
bool looksLikeDnsName(std::wstring_view name) {
    constexpr std::size_t maxNameLength = 253;
    if (name.size() > maxNameLength) {
        return false;
    }
    if (name.starts_with(L"*.")) {
        name.remove_prefix(2);
    }
    for (;;) {
        const std::size_t dot = name.find(L'.');
        const std::wstring_view label = name.substr(0, dot);
        if (!isLabel(label)) {
            return false;
        }
        if (dot == std::wstring_view::npos) {
            return !isNumber(label);
        }
        name.remove_prefix(dot + 1);
    }
}

// Returns the attribute's short name, such as "CN", or its object identifier.
std::wstring attributeName(const X509_NAME_ENTRY* attribute) {
    const ASN1_OBJECT* object = X509_NAME_ENTRY_get_object(attribute);
    const char* shortName = OBJ_nid2sn(OBJ_obj2nid(object));
    char text[80] = {};
    if (OBJ_obj2nid(object) == NID_undef || !shortName) {
        OBJ_obj2txt(text, sizeof text, object, 1);
    }
    const std::string_view name = *text || !shortName ? text : shortName;
    return {name.begin(), name.end()};
}

// Returns the value, in quotes if it has characters that separate attributes.
std::wstring quotedIfNeeded(const std::wstring& value) {
    const bool isPlain = value.find_first_of(L",+=\"\n<>#;") == std::wstring::npos &&
                         !value.starts_with(L' ') && !value.ends_with(L' ') && !value.empty();
    if (isPlain) {
        return value;
    }
    std::wstring quoted = L"\"";
    for (const wchar_t unit : value) {
        quoted += unit == L'"' ? std::wstring(L"\"\"") : std::wstring(1, unit);
    }
    return quoted + L"\"";
}

} // namespace

std::vector<std::wstring> dnsNamesOf(const X509* certificate) {
    const ErrorQueueGuard errors;
    std::vector<std::wstring> names = alternativeNamesOf(certificate, GEN_DNS);
    std::set<std::wstring> known;
    std::transform(names.begin(), names.end(), std::inserter(known, known.end()), foldCase);
    for (std::wstring& name : attributesOf(X509_get_subject_name(certificate), NID_commonName)) {
        if (looksLikeDnsName(name) && known.insert(foldCase(name)).second) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

std::wstring displayNameOf(const X509* certificate) {
    const ErrorQueueGuard errors;
    const X509_NAME* subject = X509_get_subject_name(certificate);
    std::wstring name = attributeOf(subject, NID_commonName);
    if (name.empty()) {
        name = attributeOf(subject, NID_organizationName);
    }
    if (name.empty()) {
        if (const auto names = alternativeNamesOf(certificate, GEN_DNS); !names.empty()) {
            name = names.front();
        }
    }
    if (name.empty()) {
        name = attributeOf(subject, NID_pkcs9_emailAddress);
    }
    if (name.empty()) {
        if (const auto names = alternativeNamesOf(certificate, GEN_EMAIL); !names.empty()) {
            name = names.front();
        }
    }
    return printable(std::move(name));
}

std::wstring issuerNameOf(const X509* certificate) {
    const ErrorQueueGuard errors;
    const X509_NAME* issuer = X509_get_issuer_name(certificate);
    std::wstring name = attributeOf(issuer, NID_commonName);
    if (name.empty()) {
        name = attributeOf(issuer, NID_organizationName);
    }
    return printable(std::move(name));
}

std::wstring distinguishedNameOf(const X509_NAME* name) {
    const ErrorQueueGuard errors;
    std::wstring text;
    for (int i = 0; i < X509_NAME_entry_count(name); ++i) {
        const X509_NAME_ENTRY* attribute = X509_NAME_get_entry(name, i);
        text += (text.empty() ? L"" : L", ") + attributeName(attribute) + L"=" +
                quotedIfNeeded(attributeText(attribute));
    }
    return printable(std::move(text));
}

std::wstring printable(std::wstring text) {
    for (wchar_t& unit : text) {
        if (isControl(unit) || isBidiControl(unit)) {
            unit = L'?';
        }
    }
    return text;
}

} // namespace VexaSsl::openssl
