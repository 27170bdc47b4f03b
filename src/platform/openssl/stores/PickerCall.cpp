// The certificate picker: a numbered list on the terminal instead of a dialog.
#include "platform/contract/CryptoApi.h"

#include "platform/linux/base/BaseErrors.h"
#include "platform/openssl/stores/CertificateNames.h"
#include "platform/openssl/stores/Store.h"
#include "platform/openssl/stores/Terminal.h"

#include <charconv>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace VexaSsl::openssl {
namespace {

std::wstring dateText(const ASN1_TIME* time) {
    std::tm parts{};
    char text[sizeof "2000-01-01"] = {};
    if (ASN1_TIME_to_tm(time, &parts) != 1 ||
        std::strftime(text, sizeof text, "%Y-%m-%d", &parts) == 0) {
        return L"?";
    }
    return {text, text + sizeof text - 1};
}

// Certificates can have names of any length and number; shortening keeps the list readable.
std::wstring shortened(std::wstring name) {
    constexpr std::size_t maxLength = 100;
    if (name.size() > maxLength) {
        name.replace(maxLength, std::wstring::npos, L"...");
    }
    return name;
}

std::wstring joined(const std::vector<std::wstring>& names) {
    constexpr std::size_t maxNames = 9;
    std::wstring text;
    for (std::size_t i = 0; i < names.size() && i < maxNames; ++i) {
        text += (i == 0 ? L"" : L", ") + shortened(names[i]);
    }
    if (names.size() > maxNames) {
        text += L" and " + std::to_wstring(names.size() - maxNames) + L" more";
    }
    return text;
}

std::wstring describe(const Certificate& certificate) {
    const X509* x509 = certificate.x509();
    std::wstring text = shortened(displayNameOf(x509));
    if (const std::wstring names = joined(dnsNamesOf(x509)); !names.empty()) {
        text += L" [" + printable(names) + L"]";
    }
    text += L", issued by " + shortened(issuerNameOf(x509));
    text += L", valid from " + dateText(X509_get0_notBefore(x509)) + L" to " +
            dateText(X509_get0_notAfter(x509));
    if (certificate.keyState() == KeyState::unreadable) {
        text += L", private key not readable";
    }
    return text;
}

void showList(const Terminal& terminal, const std::vector<StoreEntry>& entries,
              const wchar_t* title, const wchar_t* display) {
    terminal.writeLine(title ? printable(title) : L"Select a certificate");
    if (display) {
        terminal.writeLine(printable(display));
    }
    for (std::size_t i = 0; i < entries.size(); ++i) {
        terminal.writeLine(L"  " + std::to_wstring(i + 1) + L". " +
                           describe(*entries[i].certificate));
    }
    terminal.writeLine(L"Number of the certificate (empty or 0 for none):");
}

// Returns nothing for an answer that isn't a number from 0 to count.
std::optional<std::size_t> parseNumber(const std::string& answer, std::size_t count) {
    std::size_t number = 0;
    const char* const end = answer.data() + answer.size();
    const auto result = std::from_chars(answer.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || number > count) {
        return std::nullopt;
    }
    return number;
}

// Returns the number of the chosen certificate; 0 when the user declines: 0, an empty line, the end
// of input, or three invalid answers.
std::size_t askForNumber(const Terminal& terminal, std::size_t count) {
    constexpr int attempts = 3;
    for (int i = 0; i < attempts; ++i) {
        const std::optional<std::string> answer = terminal.readLine();
        if (!answer || answer->empty()) {
            return 0;
        }
        if (const auto number = parseNumber(*answer, count)) {
            return *number;
        }
        terminal.writeLine(L"Please answer with a number from 0 to " + std::to_wstring(count) +
                           L".");
    }
    return 0;
}

PCCERT_CONTEXT pick(HCERTSTORE handle, const wchar_t* title, const wchar_t* display) {
    const std::shared_ptr<Store> store = Store::of(handle);
    if (!store) {
        return linux::failWith(linux::invalidArgument, PCCERT_CONTEXT{});
    }
    const Terminal terminal;
    if (!terminal.isOpen()) {
        return linux::failWith(linux::errorInvalidWindowHandle, PCCERT_CONTEXT{});
    }
    const std::vector<StoreEntry>& entries = store->content->entries;
    showList(terminal, entries, title, display);
    const std::size_t number = askForNumber(terminal, entries.size());
    if (number == 0) {
        return linux::failWith(linux::errorCancelled, PCCERT_CONTEXT{});
    }
    return new Context(entries[number - 1].certificate, store, number - 1);
}

} // namespace
} // namespace VexaSsl::openssl

namespace VexaSsl::platform {

using namespace openssl;

PCCERT_CONTEXT CryptUIDlgSelectCertificateFromStore(HCERTSTORE store, HWND, const wchar_t* title,
                                                    const wchar_t* display, DWORD, DWORD, void*) {
    return linux::guarded(PCCERT_CONTEXT{}, [&] { return pick(store, title, display); });
}

} // namespace VexaSsl::platform
