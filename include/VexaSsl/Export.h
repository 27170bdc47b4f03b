// How a name is made visible to a host. The library hides everything that is not marked with it.
#pragma once

// Stands before each function and constant that leaves the library. A program that links the core's
// objects instead defines VEXASSL_STATIC_CORE.
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
