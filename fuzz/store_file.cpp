// A store file: the settings of a connection and their validation. The first line of the input is
// the connection's name.
#include "Harness.h"
#include "VexaSsl/Configuration.h"
#include "config/SecureChannelOptions.h"
#include "config/SslConfig.h"
#include "config/Vocabulary.h"

#include <stdexcept>

namespace {

using namespace VexaSsl;
namespace Definition = ConfigurationDefinition;

void requireSound(const IConfig& config, const std::wstring& connection) {
    for (const auto& [name, value] : Definition::DefaultOptions) {
        const std::wstring got = config.getValue(name);
        if (name == Definition::InternalOnlyUtilityOptions::ConnectionName) {
            fuzz::require(got == connection, "a file can't change the connection's name");
        } else {
            fuzz::require(!got.empty(), "every option has a value");
        }
        if (name == Definition::InternalOnlyUtilityOptions::LibraryInvocationPurpose ||
            Definition::ReservedConnectionNames.contains(connection)) {
            fuzz::require(got == value ||
                              name == Definition::InternalOnlyUtilityOptions::ConnectionName,
                          "a file can't set internal options");
        }
    }
}

void requireFixedPoint(const IConfig& config) {
    fuzz::StrictLog log;
    const SslConfig copy(log, config);
    const SslConfig copyOfCopy(log, copy);
    for (const auto& [name, value] : Definition::DefaultOptions) {
        fuzz::require(copy.getValue(name) == copyOfCopy.getValue(name),
                      "a copy of a copy is the same");
        fuzz::require(copy.getValue(name) == config.getValue(name) || config.getValue(name).empty(),
                      "a copy has the same values");
    }
}

void requireSoundOptions(const SecureChannelOptions& options, std::size_t size) {
    fuzz::require(options.libraryInvocationPurpose == LibraryInvocationPurpose::SecureCommunication,
                  "a file can't ask for the certificate picker");
    fuzz::require(options.anyClientAcceptable == options.acceptableClientNames.empty(),
                  "any client or a list of names");
    fuzz::require(options.acceptableClientNames.size() <= size,
                  "the list is not longer than the file");
    fuzz::require(options.certificateChoice(true) != CertificateChoice::NoCertificate,
                  "a server always sends a certificate");
    fuzz::require(options.certificateChoice(true) != CertificateChoice::FromUserInterface &&
                      options.certificateChoice(false) != CertificateChoice::FromUserInterface,
                  "nobody is asked");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile file;
    fuzz::Input input(data, size);
    const std::wstring connection = fuzz::wideText(input.takeTo('\n'));
    file.write(input.rest());
    fuzz::StrictLog log(size + 100);
    const auto config = constructSslConfigurationFromSslConfigStore(log, file.path(), connection);
    requireSound(*config, connection);
    requireFixedPoint(*config);
    fuzz::require(log.errors.empty(), "reading logs no error");
    try {
        const SecureChannelOptions options(log, *config);
        fuzz::require(log.errors.empty(), "valid options log no error");
        requireSoundOptions(options, size);
    } catch (const std::out_of_range&) {
        fuzz::require(log.errors.size() == 1, "one line reports the first invalid option");
    }
    return 0;
}
