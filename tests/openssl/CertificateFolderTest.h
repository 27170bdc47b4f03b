// A certificate folder of its own for each test, and a child process that permissions hold back.
#pragma once

#include "CertificateFiles.h"
#include "contract/stores/StoreFixture.h"

#include "VexaPlatform/Certificates.h"

namespace VexaSsl::test {

class CertificateFolderTest : public ::testing::Test, protected TemporaryCertificateFolder {};

// Makes this process an account that permissions hold back, as root reads everything. For a child
// process only. Result: false if that isn't possible.
bool becomeUnprivileged();

} // namespace VexaSsl::test
