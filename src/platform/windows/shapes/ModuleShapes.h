// The Windows types and constants of modules and version records: the system's own.
#pragma once

#include "BaseShapes.h"

#include <winver.h>

// What this build runs on, for tools that look for it in the library's file.
#define VEXASSL_PLATFORM_TAG "x64-msoft-win64"
