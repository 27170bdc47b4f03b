// The owner types for certificates in the library.
//
// A CertificateHandle owns one reference to a certificate context, or none; it can be moved, not
// copied. CertDuplicateCertificateContext makes a second reference. The context itself is
// immutable: any thread may read it; a handle belongs to one thread at a time.
//
// Every handle of a certificate from a store must be released before the store is closed.
#pragma once

#include "frame/OwnedHandle.h"
#include "platform/contract/CryptoApi.h"

#include <vector>

namespace VexaSsl {

using CertificateHandle = OwnedHandle<PCCERT_CONTEXT, platform::CertFreeCertificateContext>;

// In the order of the store.
using CertificateHandleList = std::vector<CertificateHandle>;

} // namespace VexaSsl
