#include "platform/openssl/stores/SubjectText.h"

#include "platform/linux/base/Utf8.h"
#include "platform/openssl/stores/OpenSslOwners.h"

#include <locale.h> // NOLINT(modernize-deprecated-headers): newlocale is the system's

#include <clocale>
#include <cstddef>
#include <cwctype>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::openssl {
namespace {

void releaseUsages(EXTENDED_KEY_USAGE* usages) noexcept {
    EXTENDED_KEY_USAGE_free(usages);
}

std::string identifierText(const ASN1_OBJECT* identifier) {
    char text[128];
    const int length = OBJ_obj2txt(text, sizeof text, identifier, 1);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof text) {
        return {};
    }
    return {text, static_cast<std::size_t>(length)};
}

// A locale with all of Unicode, independent of the host's. Null if the system doesn't have it.
// Never freed.
locale_t unicodeLocale() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;
}

} // namespace

std::wstring attributeText(const X509_NAME_ENTRY* attribute) {
    const ErrorQueueGuard errors;
    unsigned char* bytes = nullptr;
    const int size = ASN1_STRING_to_UTF8(&bytes, X509_NAME_ENTRY_get_data(attribute));
    if (size < 0) {
        return {};
    }
    const BytesPointer owner(bytes);
    return linux::utf8ToWide(
        {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)});
}

std::wstring subjectText(const X509* certificate) {
    const X509_NAME* subject = X509_get_subject_name(certificate);
    std::wstring text;
    for (int i = 0; i < X509_NAME_entry_count(subject); ++i) {
        if (i > 0) {
            text += L", ";
        }
        text += attributeText(X509_NAME_get_entry(subject, i));
    }
    return text;
}

std::wstring foldCase(std::wstring text) {
    const locale_t locale = unicodeLocale();
    for (wchar_t& unit : text) {
        const auto original = static_cast<std::wint_t>(unit);
        unit =
            static_cast<wchar_t>(locale ? towlower_l(original, locale) : std::towlower(original));
    }
    return text;
}

bool readUsages(const X509* certificate, std::vector<std::string>& usages) {
    const ErrorQueueGuard errors;
    int critical = 0;
    const std::unique_ptr<EXTENDED_KEY_USAGE, Release<releaseUsages>> extension(
        static_cast<EXTENDED_KEY_USAGE*>(
            X509_get_ext_d2i(certificate, NID_ext_key_usage, &critical, nullptr)));
    for (int i = 0; i < sk_ASN1_OBJECT_num(extension.get()); ++i) {
        usages.push_back(identifierText(sk_ASN1_OBJECT_value(extension.get(), i)));
    }
    constexpr int noExtension = -1;
    return critical != noExtension;
}

} // namespace VexaSsl::openssl
