// A host that passes across the library's boundary everything that may cross it: texts, owned
// objects, exceptions, calls of its log, a stack in use. Built with a static and with a dynamic
// runtime of the compiler, against a library built either way.
//
// Exit status: 0; 1 with a line for each failed expectation.
#include "VexaSsl/ModuleVersion.h"
#include "VexaSsl/VModuleVersion.h"
#include "VexaSsl/VexaSsl.h"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

namespace {

using namespace VexaSsl;

int wrong = 0;

void expect(bool isRight, const char* what) {
    if (!isRight) {
        std::printf("wrong: %s\n", what);
        ++wrong;
    }
}

class CountingLog : public ILog {
public:
    void log(Severity, const std::wstring& text) override {
        ++lines;
        last = text;
        if (isFull) {
            throw std::length_error("full");
        }
    }
    void setMinimumSeverity(Severity severity) override { threshold = severity; }

    int lines = 0;
    bool isFull = false;
    std::wstring last;
    Severity threshold = Severity::Fatal;
};

void crossTexts() {
    const std::string longText(5000, 'x');
    expect(convertNarrowToWide("text") == L"text", "a short text widened");
    expect(convertNarrowToWide(longText) == std::wstring(5000, L'x'), "a long text widened");
    expect(convertWideToNarrow(std::wstring(5000, L'x')) == longText, "a long text narrowed");
    const std::wstring copy = ConfigurationDefinition::ConnectionsSectionOptions::OdbcThinClient;
    expect(copy == L"OdbcThinClient", "a constant copied");
}

void crossObjects() {
    CountingLog log;
    const auto config = constructDefaultSslConfiguration(log, L"A name longer than a small text");
    expect(config->getValue(L"ConnectionName") == L"A name longer than a small text",
           "a value of a configuration");
    config->setValue(L"MinimumSeverityToLog", L"Warning");
    const auto strategy = instantiateSocketStrategy(log, *config);
    expect(log.threshold == Severity::Warning, "the host's log called from the library");
    const timeval atOnce{};
    expect(strategy->select(0, nullptr, nullptr, nullptr, &atOnce) == SOCKET_ERROR,
           "a stack in use");
}

void crossExceptions() {
    CountingLog log;
    const auto config = constructDefaultSslConfiguration(log, L"Default");
    config->setValue(L"UseEncryption", L"perhaps");
    try {
        instantiateSocketStrategy(log, *config);
        expect(false, "a bad value is refused");
    } catch (const std::out_of_range& error) {
        expect(std::string(error.what()) == "invalid configuration", "the exception's text");
        expect(log.last == L"Supplied value [perhaps] of UseEncryption is invalid",
               "the log's line about it");
    } catch (...) {
        expect(false, "the exception's type");
    }
    log.isFull = true;
    try { // from the host's log through the library back to the host
        instantiateSocketStrategy(log, *config);
        expect(false, "an exception of the host's log comes through");
    } catch (const std::length_error& error) {
        expect(std::string(error.what()) == "full", "the text of the host's exception");
    }
    std::exception_ptr kept;
    log.isFull = false;
    try {
        instantiateSocketStrategy(log, *config);
    } catch (...) {
        kept = std::current_exception();
    }
    try {
        std::rethrow_exception(kept);
    } catch (const std::exception& error) {
        expect(std::string(error.what()) == "invalid configuration", "an exception kept for later");
    }
}

void crossVersions() {
    DLLVERSIONINFO info{};
    info.cbSize = sizeof info;
    expect(DllGetVersion(&info) == 0 && info.dwMajorVersion == 22 && info.dwMinorVersion == 0 &&
               info.dwBuildNumber == 3 && info.dwPlatformID == 2,
           "the version");
    expect(moduleVersion_VexaSsl_22_0_3() == 2, "the fourth number");
    const VModuleVersion source(-7);
    VModuleVersion target;
    expect((target = source).getLastError() == -7 && target.getLastError() == -7,
           "the record of a version check");
}

} // namespace

int main() {
    crossTexts();
    crossObjects();
    crossExceptions();
    crossVersions();
    return wrong == 0 ? 0 : 1;
}
