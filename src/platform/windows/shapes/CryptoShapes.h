// The CryptoAPI types and constants of src/platform/contract/CryptoApi.h: the system's own.
// wininet.h defines the SECURITY_FLAG_IGNORE_* flags of the chain policy.
#pragma once

#include "BaseShapes.h"

#include <wincrypt.h>
#include <wininet.h>
