// The error codes that replace those of the system. The numbers are Winsock's.
#include "platform/linux/sockets/SystemErrors.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <netdb.h>

namespace VexaSsl::linux {
namespace {

struct Translated {
    int system;
    int winsock;
};

TEST(SystemErrors, errorNumberIsTranslated) {
    constexpr Translated all[] = {
        {EINTR, 10004},        {EACCES, 10013},          {EPERM, 10013},
        {EFAULT, 10014},       {EINVAL, 10022},          {EMFILE, 10024},
        {ENFILE, 10024},       {EAGAIN, 10035},          {EINPROGRESS, 10036},
        {EALREADY, 10037},     {ENOTSOCK, 10038},        {EBADF, 10038},
        {EDESTADDRREQ, 10039}, {EMSGSIZE, 10040},        {EPROTOTYPE, 10041},
        {ENOPROTOOPT, 10042},  {EPROTONOSUPPORT, 10043}, {ESOCKTNOSUPPORT, 10044},
        {EOPNOTSUPP, 10045},   {EPFNOSUPPORT, 10046},    {EAFNOSUPPORT, 10047},
        {EADDRINUSE, 10048},   {EADDRNOTAVAIL, 10049},   {ENETDOWN, 10050},
        {ENETUNREACH, 10051},  {ENETRESET, 10052},       {ECONNABORTED, 10053},
        {ECONNRESET, 10054},   {ENOBUFS, 10055},         {ENOMEM, 10055},
        {EISCONN, 10056},      {ENOTCONN, 10057},        {ESHUTDOWN, 10058},
        {EPIPE, 10058},        {ETIMEDOUT, 10060},       {ECONNREFUSED, 10061},
        {ENAMETOOLONG, 10063}, {EHOSTDOWN, 10064},       {EHOSTUNREACH, 10065},
        {ENOTDIR, 10050}, // Winsock has none for it
    };
    for (const auto& [system, winsock] : all) {
        EXPECT_EQ(winsockError(system), winsock) << system;
    }
}

TEST(SystemErrors, resultOfTheResolverIsTranslated) {
    constexpr Translated all[] = {
        {0, 0},
        {EAI_AGAIN, 11002},
        {EAI_BADFLAGS, 10022},
        {EAI_FAIL, 11003},
        {EAI_FAMILY, 10047},
        {EAI_MEMORY, 8},
        {EAI_NONAME, 11001},
        {EAI_NODATA, 11004},
        {EAI_ADDRFAMILY, 11004},
        {EAI_OVERFLOW, 10014},
        {EAI_SERVICE, 10109},
        {EAI_SOCKTYPE, 10044},
        {EAI_SYSTEM, 10060},
        {EAI_CANCELED, 11003}, // Winsock has none for it
    };
    for (const auto& [system, winsock] : all) {
        errno = ETIMEDOUT;
        EXPECT_EQ(resolverError(system), winsock) << system;
    }
}

} // namespace
} // namespace VexaSsl::linux
