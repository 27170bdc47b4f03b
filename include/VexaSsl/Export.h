// How a name is made visible to a host. The library hides everything that is not marked with it.
#pragma once

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
