// Texts by which the log lines of this module are recognised: the whole line, its beginning, or the
// failed call that logSystemError names.
#pragma once

namespace VexaSsl::LogTexts {

inline constexpr const wchar_t* storeOpening = L"CertOpenStore";
inline constexpr const wchar_t* noSuitableCertificate =
    L"Tried to find a default certificate, but none were suitable";
inline constexpr const wchar_t* noCertificateWithNamePrefix =
    L"Was not able to find a certificate with the name [";
inline constexpr const wchar_t* noCertificateSelected = L"User didn't select a certificate";

} // namespace VexaSsl::LogTexts
