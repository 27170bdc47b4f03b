// The base types and constants of the contract headers: the system's own. winsock2.h comes before
// windows.h, which would otherwise include winsock.h.
#pragma once

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <mswsock.h>
#include <windows.h>
// clang-format on
