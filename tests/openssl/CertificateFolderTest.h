// A certificate folder for each test, and a child process without root's permissions.
#pragma once

#include "CertificateFiles.h"
#include "contract/stores/StoreFixture.h"

#include "VexaPlatform/Certificates.h"

namespace VexaSsl::test {

class CertificateFolderTest : public ::testing::Test, protected TemporaryCertificateFolder {};

// Gives up root's permissions in a child process. Returns false if that isn't possible.
bool becomeUnprivileged();

// Returns whether the trust store holds the authority.
bool hasAnchor(const Issued& authority);

} // namespace VexaSsl::test
