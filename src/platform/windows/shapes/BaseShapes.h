// The Windows base types and constants that src/platform/contract/WindowsBase.h is written in: the
// system's own. Winsock's header comes before windows.h, which would else bring in its predecessor.
#pragma once

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <mswsock.h>
#include <windows.h>
// clang-format on
