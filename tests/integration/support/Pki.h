// The certificates of the tests, by the text that the library searches for in their subjects. They
// are created for every run of the tests and are in the personal store.
#pragma once

#include <filesystem>
#include <string>

namespace VexaSsl::test::pki {

// Servers, for localhost, 127.0.0.1 and ::1 unless their name says otherwise.
inline const std::string localhost = "case server-rsa,";
inline const std::string localhostElliptic = "case server-ecdsa,";
inline const std::string withIntermediate = "case with-intermediate,";
inline const std::string withoutUsage = "case no-usage,";
inline const std::string otherName = "case wrong-name,";
inline const std::string zeroInName = "case zero-in-name";
inline const std::string expired = "case expired,";
inline const std::string notYetValid = "case not-yet-valid,";
inline const std::string clientOnly = "case wrong-usage,";
inline const std::string untrusted = "case untrusted,";
inline const std::string selfSigned = "case self-signed,";
inline const std::string missingIntermediate = "case missing-intermediate,";
inline const std::string signedByALeaf = "case not-authority,";
// The first name of the server of the case "machine".
inline const std::string machineName = "machine.integration.test";

// Clients.
inline const std::string client = "case client, client.test";
inline const std::string clientRsa = "case client-rsa,";
inline const std::string clientWithIntermediate = "case client-with-intermediate,";
inline const std::string clientWithTwoNames = "case client-two-names,";
inline const std::string clientWithoutNames = "case client-no-names";
inline const std::string expiredClient = "case client-expired,";
inline const std::string untrustedClient = "case client-untrusted,";
inline const std::string selfSignedClient = "case client-self-signed,";
inline const std::string serverOnly = "case server-ecdsa,";

// The folder with my/, root/ and all/<case>/{cert,key,chain}.pem.
std::filesystem::path folder();
// Returns a file of a case, for other TLS programs.
std::filesystem::path file(const std::string& name, const std::string& kind);

// Makes the library use the certificates: sets the folder on Linux; on Windows they are in the
// machine's store. Runs before the first test, which fails when there are no certificates.
void useTestCertificates();
// Uses the certificates of another folder from now on, where the personal store is a folder.
void use(const std::filesystem::path& certificates);

} // namespace VexaSsl::test::pki
