#include "ConnectionOptions.h"

#include "CertificateFolder.h"
#include "ExitStatus.h"

#include <algorithm>
#include <cwctype>
#include <exception>
#include <fstream>
#include <string_view>

namespace VexaSsl::tool {

namespace {

// The library widens a file's bytes one to one, so a name from the command line meets the same name
// in a file only when it is widened in that way, whatever the encoding of both.
std::wstring widenedBytes(const std::string& text) {
    std::wstring result;
    result.reserve(text.size());
    for (const char byte : text) {
        result.push_back(static_cast<wchar_t>(static_cast<unsigned char>(byte)));
    }
    return result;
}

bool isFalse(const std::wstring& value) {
    constexpr std::wstring_view word = L"false";
    return std::equal(
        value.begin(), value.end(), word.begin(), word.end(), [](wchar_t a, wchar_t b) {
            return std::towlower(static_cast<std::wint_t>(a)) == static_cast<std::wint_t>(b);
        });
}

std::string reversionText(const ConnectionOptions& options, const Diagnosis& diagnosis) {
    const std::string reason = printableText(diagnosis.reversionReason());
    if (!std::ifstream(options.iniFile)) {
        return "cannot open the ini file [" + options.iniFile + "]";
    }
    if (reason == "Can't open config file") {
        return "cannot open the configuration store that [" + options.iniFile + "] names";
    }
    return "configuration [" + options.iniFile + "]: " + reason;
}

const char* causeWords(ExitStatus status) {
    switch (status) {
    case ExitStatus::Usage:
        return "bad configuration";
    case ExitStatus::TimedOut:
        return "timed out";
    case ExitStatus::PeerNotTrusted:
        return "the peer's certificate is not trusted";
    case ExitStatus::NameMismatch:
        return "the peer's certificate is for another name";
    case ExitStatus::OwnCertificate:
        return "no usable certificate and key of our own";
    case ExitStatus::RefusedByPeer:
        return "the peer refused our certificate, or wants one";
    case ExitStatus::Well:
    case ExitStatus::CannotConnect:
    case ExitStatus::Handshake:
    case ExitStatus::CutShort:
        break;
    }
    return "no secure connection";
}

} // namespace

LoadedConfiguration::LoadedConfiguration(const ConnectionOptions& options, LinePrinter& printer)
    : log(printer) {
    useCertificateFolder(options.certificates);
    const std::wstring name = widenedBytes(options.connectionName);
    if (options.iniFile.empty()) {
        loaded = constructDefaultSslConfiguration(log, name);
        return;
    }
    loaded = constructSslConfigurationFromIniFile(log, options.iniFile, name);
    const Diagnosis diagnosis = log.diagnosis();
    if (diagnosis.revertedToPlain()) {
        throw Failure(ExitStatus::Usage, reversionText(options, diagnosis));
    }
    if (isFalse(loaded->getValue(L"UseEncryption"))) {
        printer.print("vexassl: note: the configuration says UseEncryption=False for [" +
                      options.connectionName + "], or nothing: this is plain text");
    }
}

std::unique_ptr<ISocketStrategy> makeStrategy(ToolLog& log, const IConfig& config) {
    try {
        return instantiateSocketStrategy(log, config);
    } catch (const std::exception& error) {
        const Diagnosis diagnosis = log.diagnosis();
        throw Failure(ExitStatus::Usage,
                      diagnosis.status() == ExitStatus::Well ? error.what() : causeText(diagnosis));
    }
}

std::string causeText(const Diagnosis& diagnosis) {
    std::string text = causeWords(diagnosis.status());
    if (!diagnosis.causeLine().empty()) {
        text += " (" + printableText(diagnosis.causeLine()) + ")";
    }
    return text;
}

} // namespace VexaSsl::tool
