// The CryptoAPI types and constants that src/platform/CryptoApi.h is written in: the system's own.
#pragma once

#include "BaseShapes.h"

#include <wincrypt.h>
