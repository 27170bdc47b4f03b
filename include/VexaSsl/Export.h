// The mark of what the library exports. Everything else in it is hidden.
#pragma once

// Precedes each exported function and constant. A program that links the core's objects instead of
// the library defines VEXASSL_STATIC_CORE.
#if defined(_WIN32)
#if defined(VEXASSL_BUILDING_LIBRARY)
#define VEXASSL_API __declspec(dllexport)
#elif defined(VEXASSL_STATIC_CORE)
#define VEXASSL_API
#else
#define VEXASSL_API __declspec(dllimport)
#endif
#else
#define VEXASSL_API __attribute__((visibility("default")))
#endif
