// The SSPI and Schannel types and constants of src/platform/contract/SecuritySupport.h: the
// system's own. The build defines SECURITY_WIN32, which sspi.h requires.
#pragma once

#include "CryptoShapes.h"

// clang-format off
#include <sspi.h>
#include <schannel.h>
// clang-format on
