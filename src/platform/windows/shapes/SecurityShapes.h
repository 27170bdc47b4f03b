// The SSPI and Schannel types and constants that src/platform/contract/SecuritySupport.h is written
// in: the system's own. SECURITY_WIN32, which sspi.h asks for, is set where the project is built.
#pragma once

#include "CryptoShapes.h"

// clang-format off
#include <sspi.h>
#include <schannel.h>
// clang-format on
