// The Windows types and constants of modules and version records: the system's own.
#pragma once

#include "BaseShapes.h"

#include <winver.h>

// The target of this build, for tools that search the library's file for it.
#define VEXASSL_PLATFORM_TAG "x64-msoft-win64"
