// The owners through which certificates travel in the library.
//
// A CertificateHandle owns one reference to a certificate context, or none; it can be moved, not
// copied. A second reference is taken with CertDuplicateCertificateContext. The context itself is
// immutable: any thread may read it, a handle belongs to one thread at a time.
//
// Every handle on a certificate of a store must be gone before that store is closed.
#pragma once

#include "frame/OwnedHandle.h"
#include "platform/contract/CryptoApi.h"

#include <vector>

namespace VexaSsl {

using CertificateHandle = OwnedHandle<PCCERT_CONTEXT, platform::CertFreeCertificateContext>;

// In the order of the store.
using CertificateHandleList = std::vector<CertificateHandle>;

} // namespace VexaSsl
