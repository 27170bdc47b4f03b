// The benchmark's own authority and certificates, written as PEM files and as the certificate
// folder that the library reads. Nothing of it outlives a run.
#pragma once

#include "Contender.h"

namespace VexaSsl::bench {

enum class KeyKind { rsa2048, p256 };

// Fills folder, which exists: two server certificates of one authority, and trust/one and
// trust/bundle, certificate folders with that authority alone and among 139 others.
void makeCertificates(const std::filesystem::path& folder);

// What of it a server with such a key and a client with such trust use. Suite and group are open.
Terms termsOf(const std::filesystem::path& folder, KeyKind kind, bool bundle);

// Waits until the files made are old enough to be trusted by their times: younger ones are read
// anew for each connection.
void letFilesSettle();

// Fills folder with count server certificates that share one key, named "number <n>".
void makePersonalStore(const std::filesystem::path& folder, int count);

} // namespace VexaSsl::bench
