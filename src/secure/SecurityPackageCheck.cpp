#include "secure/SecurityPackageCheck.h"

#include "frame/ErrorText.h"
#include "frame/OwnedHandle.h"
#include "platform/contract/SecuritySupport.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace VexaSsl {

namespace {

// In exactly this letter case. Compatibility: package-name-case
constexpr std::wstring_view packageName = L"Schannel";

// The package's array, released even if it is null: a pointer alone would be an empty owner then.
struct PackageArray {
    SecPkgInfoW* first = nullptr;
};
using OwnedPackageArray =
    OwnedHandle<PackageArray, [](PackageArray array) { platform::FreeContextBuffer(array.first); }>;

// The installed packages.
class SecurityPackageList {
public:
    explicit SecurityPackageList(ILog& log) {
        SecPkgInfoW* listed = nullptr;
        const SECURITY_STATUS status = platform::EnumerateSecurityPackagesW(&count, &listed);
        if (status != SEC_E_OK) {
            logSystemError(log, L"EnumerateSecurityPackages", static_cast<DWORD>(status));
            throw std::runtime_error(std::to_string(status));
        }
        packages = OwnedPackageArray({listed});
        copies.assign(listed, listed + count);
    }

    bool has(std::wstring_view name) const {
        return std::any_of(copies.begin(), copies.end(),
                           [name](const SecPkgInfoW& package) { return package.Name == name; });
    }

private:
    ULONG count = 0;
    OwnedPackageArray packages; // owns the names in copies
    std::vector<SecPkgInfoW> copies;
};

// Exists only if the package is installed.
struct InstalledPackage {
    explicit InstalledPackage(ILog& log) {
        log.log(Severity::Debug, L"Checking for the presence of the Schannel Security Package");
        const SecurityPackageList packages(log);
        if (!packages.has(packageName)) {
            log.log(Severity::Error,
                    L"The Schannel Security Package is not available on this computer."
                    L" Are you sure you're running on Windows?");
            throw std::runtime_error("schannel package not present");
        }
    }
};

} // namespace

void checkSecurityPackage(ILog& log) {
    // The language makes other threads wait for the initialiser and repeats it after an exception.
    [[maybe_unused]] static const InstalledPackage present(log);
}

} // namespace VexaSsl
