// The CryptoAPI types and constants that src/platform/contract/CryptoApi.h is written in: the
// system's own. What a policy may ignore stands in the header of the Internet functions.
#pragma once

#include "BaseShapes.h"

#include <wincrypt.h>
#include <wininet.h>
