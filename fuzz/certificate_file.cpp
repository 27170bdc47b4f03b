// A file of certificates that the tool explains: reading it and explaining the chain.
#include "Harness.h"

#include "VexaPlatform/Certificates.h"
#include "certificates/CertificateFacts.h"
#include "common/ExitStatus.h"
#include "common/Text.h"
#include "explain/CertificateFile.h"
#include "explain/ChainExplanation.h"
#include "tool/JsonReader.h"

#include <algorithm>
#include <iostream>
#include <optional>
#include <sstream>

namespace {

using namespace VexaSsl;
using fuzz::require;

bool isOneLine(const std::string& text) {
    return tool::isUtf8(text) && std::none_of(text.begin(), text.end(), [](unsigned char c) {
               return (c < 0x20 && c != '\t') || c == 0x7F;
           });
}

// Reads the certificates through standard input. Returns nothing when they are refused.
std::optional<tool::CertificateChain> read(std::string_view content) {
    std::istringstream stream{std::string(content)};
    std::streambuf* const usual = std::cin.rdbuf(stream.rdbuf());
    std::cin.clear();
    std::optional<tool::CertificateChain> chain;
    try {
        chain = tool::readCertificates("-");
    } catch (const tool::Failure& failure) {
        require(failure.status == tool::ExitStatus::Usage && isOneLine(failure.what()),
                "an error is one line");
    }
    std::cin.rdbuf(usual);
    return chain;
}

std::string encodingOf(const tool::CertificateChain& chain) {
    std::string encoded;
    for (const CertificateHandle& certificate : chain.certificates) {
        encoded.append(reinterpret_cast<const char*>(certificate.get()->pbCertEncoded),
                       certificate.get()->cbCertEncoded);
    }
    return encoded;
}

void requireFacts(PCCERT_CONTEXT certificate) {
    const tool::CertificateFacts facts = tool::factsOf(certificate);
    for (const std::string& line : tool::factLines(facts)) {
        require(isOneLine(line), "a fact is one line without control characters");
    }
    require(isOneLine(tool::shownTitle(facts)) && isOneLine(tool::shownNames(facts.names)),
            "names are one line");
    tool::JsonLine line;
    tool::addFacts(line, facts);
    require(!test::readObject(line.str()).empty(), "the facts are JSON");
    require(tool::areSame(certificate, certificate), "a certificate equals itself");
}

void requireFaults(const std::vector<tool::Fault>& faults) {
    for (const tool::Fault& fault : faults) {
        require(!fault.identifier.empty() && isOneLine(fault.cause) && isOneLine(fault.remedy),
                "a fault has a text");
    }
}

void requireExplained(const tool::CertificateChain& chain) {
    const tool::ChainExplanation explained = tool::explainChain(
        chain,
        {.purposes = {true, false}, .name = "localhost", .at = tool::UtcTime{1'800'000'000}});
    require(explained.certificates.size() >= chain.certificates.size(),
            "every certificate is listed");
    for (const tool::PurposeVerdict& verdict : explained.purposes) {
        std::size_t faults = verdict.faults.size();
        requireFaults(verdict.faults);
        for (const tool::ElementVerdict& element : verdict.elements) {
            require(element.certificate < explained.certificates.size(),
                    "an element refers to a certificate");
            requireFaults(element.faults);
            faults += element.faults.size();
        }
        require(verdict.trusted == (faults == 0), "exactly the untrusted chains have faults");
        require(!verdict.trusted || !verdict.elements.empty(), "a trusted certificate has a chain");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    platform::setCertificateFolder(VEXASSL_FUZZ_KEYS);
    const auto chain = read(fuzz::Input(data, size).rest());
    if (!chain) {
        return 0;
    }
    require(!chain->certificates.empty() && chain->certificates.size() <= size,
            "the number of certificates is within the limits");
    require(tool::areSame(chain->leaf.get(), chain->certificates.front().get()),
            "the first certificate is explained");
    for (const CertificateHandle& certificate : chain->certificates) {
        requireFacts(certificate.get());
    }
    if (chain->certificates.size() == 1) {
        const auto again = read(encodingOf(*chain));
        require(again && encodingOf(*again) == encodingOf(*chain),
                "a certificate is parsed and encoded unchanged");
    }
    requireExplained(*chain);
    return 0;
}
