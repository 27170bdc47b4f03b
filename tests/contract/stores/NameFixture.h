// Queries for the names of a certificate.
#pragma once

#include "contract/stores/StoreFixture.h"

#include <string>
#include <utility>
#include <vector>

namespace VexaSsl::test {

inline HeldContext contextOf(const Recipe& recipe) {
    return contextOf(issue(recipe));
}

inline DWORD ask(PCCERT_CONTEXT certificate, DWORD type, wchar_t* buffer, DWORD size) {
    DWORD typeParameter = CERT_SIMPLE_NAME_STR | CERT_NAME_STR_NO_QUOTING_FLAG;
    const DWORD flags = type == CERT_NAME_DNS_TYPE ? CERT_NAME_SEARCH_ALL_NAMES_FLAG : 0;
    return platform::CertGetNameStringW(certificate, type, flags, buffer ? nullptr : &typeParameter,
                                        buffer, size);
}

// The names in a sequence of zero-terminated texts that ends with an empty one.
inline std::vector<std::wstring> split(const std::wstring& run) {
    std::vector<std::wstring> names;
    for (const wchar_t* at = run.c_str(); *at != L'\0'; at += names.back().size() + 1) {
        names.emplace_back(at);
    }
    return names;
}

inline std::vector<std::wstring> dnsNames(const Recipe& recipe) {
    const HeldContext certificate = contextOf(recipe);
    const DWORD needed = ask(certificate.get(), CERT_NAME_DNS_TYPE, nullptr, 0);
    std::wstring buffer(needed, L'x');
    EXPECT_EQ(ask(certificate.get(), CERT_NAME_DNS_TYPE, buffer.data(), needed), needed);
    EXPECT_EQ(buffer.back(), L'\0');
    const std::vector<std::wstring> names = split(buffer);
    std::size_t size = 1;
    for (const std::wstring& name : names) {
        size += name.size() + 1;
    }
    EXPECT_EQ(needed, size);
    return names;
}

inline Recipe withDnsNames(std::vector<std::string> names) {
    Recipe recipe;
    recipe.dnsNames = std::move(names);
    return recipe;
}

inline std::wstring display(const Recipe& recipe) {
    return displayName(contextOf(recipe).get());
}

} // namespace VexaSsl::test
