// A certificate folder of its own for each test, and owners for what the platform hands out.
#pragma once

#include "contract/certificates/ThrowawayPki.h"

#include "VexaPlatform/Certificates.h"
#include "platform/CryptoApi.h"
#include "platform/WindowsBase.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::testing {

// One reference to a context.
class HeldContext {
public:
    HeldContext(PCCERT_CONTEXT owned = nullptr) : context(owned) {}
    ~HeldContext() { platform::CertFreeCertificateContext(context); }
    HeldContext(HeldContext&& other) noexcept : context(std::exchange(other.context, nullptr)) {}
    HeldContext& operator=(HeldContext&& other) noexcept {
        std::swap(context, other.context);
        return *this;
    }

    PCCERT_CONTEXT get() const { return context; }
    PCCERT_CONTEXT release() { return std::exchange(context, nullptr); }
    explicit operator bool() const { return context != nullptr; }

private:
    PCCERT_CONTEXT context;
};

class OpenedStore {
public:
    OpenedStore();
    explicit OpenedStore(HCERTSTORE opened) : handle(opened) {}
    ~OpenedStore() { close(); }
    OpenedStore(const OpenedStore&) = delete;
    OpenedStore& operator=(const OpenedStore&) = delete;

    HCERTSTORE get() const { return handle; }
    // With the check for contexts that are still held. TRUE if the store is closed already.
    BOOL close();

private:
    HCERTSTORE handle;
};

// The display names of everything in the store, in its order.
std::vector<std::wstring> namesIn(HCERTSTORE store);
std::vector<std::wstring> namesInPersonalStore();
std::wstring displayName(PCCERT_CONTEXT certificate);

HeldContext firstIn(HCERTSTORE store);
HeldContext findSubject(HCERTSTORE store, const wchar_t* text, PCCERT_CONTEXT previous = nullptr);
HeldContext findUsages(HCERTSTORE store, std::vector<std::string> usages,
                       PCCERT_CONTEXT previous = nullptr);
std::vector<std::wstring> namesFoundBySubject(const wchar_t* text);
std::vector<std::wstring> namesFoundByUsage(const std::string& usage);

// A folder of certificates of its own, in force while it lives.
class TemporaryCertificateFolder {
public:
    TemporaryCertificateFolder();
    ~TemporaryCertificateFolder();
    TemporaryCertificateFolder(const TemporaryCertificateFolder&) = delete;
    TemporaryCertificateFolder& operator=(const TemporaryCertificateFolder&) = delete;

    // name: "my/x.pem". Replaces the file as an editor does: a new file under the old name.
    void write(const std::string& name, const std::string& content) const;
    void remove(const std::string& name) const;
    std::filesystem::path path(const std::string& name) const { return folder / name; }
    // The certificate and its key in one file of the personal store.
    void install(const std::string& name, const Issued& issued,
                 const std::vector<const Issued*>& helpers = {}) const;

    const std::filesystem::path folder;

private:
    const std::filesystem::path formerFolder;
};

class CertificateFolderTest : public ::testing::Test, protected TemporaryCertificateFolder {};

// A context of the certificate, whose helpers travel with it.
HeldContext contextOf(const Issued& issued, const std::vector<const Issued*>& helpers = {});

// Makes this process an account that permissions hold back, as root reads everything. For a child
// process only. Result: false if that isn't possible.
bool becomeUnprivileged();

} // namespace VexaSsl::testing
