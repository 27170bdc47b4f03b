// The benchmark's own authority and certificates, as PEM files and as certificate folders for the
// library. They are created for each run.
#pragma once

#include "Contender.h"

namespace VexaSsl::bench {

enum class KeyKind { rsa2048, p256 };

// Writes to an existing folder two server certificates of one authority, and two certificate
// folders: trust/one, whose root/ has only that authority, and trust/bundle, with 139 others in
// addition.
void makeCertificates(const std::filesystem::path& folder);

// Returns the terms for a server with a key of that kind and a client that trusts one authority or
// the bundle, without cipher suites and groups.
Terms termsOf(const std::filesystem::path& folder, KeyKind kind, bool bundle);

// Waits until the files are old enough for the binding's cache: younger ones are read again for
// each connection, since a second change might have the same time.
void waitForStableFileTimes();

// Writes a certificate folder with count server certificates named "number <n>" that share one key.
void makePersonalStore(const std::filesystem::path& folder, int count);

} // namespace VexaSsl::bench
