// The names in a certificate, without a log. Throw only when memory runs out.
//
// Threads: any, while the caller keeps the certificate alive.
#pragma once

#include "platform/contract/CryptoApi.h"

#include <string>
#include <vector>

namespace VexaSsl {

// Returns every DNS name of the certificate, in its order.
std::vector<std::wstring> dnsNamesOf(PCCERT_CONTEXT certificate);

// Returns the whole subject, for example "CN=orders.example, O=Example". Empty without one.
std::wstring subjectOf(PCCERT_CONTEXT certificate);

} // namespace VexaSsl
