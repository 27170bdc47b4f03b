// The abilities that Windows lacks, and those that only Wine lacks. On Windows itself only the
// first are missing.
#include "integration/support/System.h"

namespace VexaSsl::test {

namespace {

bool underWine() {
    const HMODULE base = GetModuleHandleW(L"ntdll.dll");
    return base != nullptr && GetProcAddress(base, "wine_get_version") != nullptr;
}

std::string missingOnWindows(Ability ability) {
    switch (ability) {
    case Ability::keepFlights:
        return "Windows' security package hands back what follows a whole handshake record in the "
               "same read, and the library counts it as consumed";
    case Ability::renameMachine:
        return "on Windows a thread has no machine name of its own";
    case Ability::actAsAnotherUser:
        return "on Windows another user's process needs that user's password";
    default:
        return {};
    }
}

std::string missingUnderWine(Ability ability) {
    switch (ability) {
    case Ability::verifyServers:
        return "Wine's security package accepts every server certificate";
    case Ability::requestClientCertificates:
        return "Wine's security package asks no client for a certificate";
    case Ability::detectPlainText:
        return "Wine's security package takes plain text for the length of a record to come";
    case Ability::ellipticKeys:
        return "Wine imports RSA keys only";
    case Ability::sendIntermediates:
        return "Wine's security package sends a certificate without its issuer";
    case Ability::reportResets:
        return "Wine sometimes reports a reset as an ordinary end";
    case Ability::searchByUsage:
        return "Wine's personal store can't be searched by usage";
    default:
        return {};
    }
}

} // namespace

std::string missingAbility(Ability ability) {
    std::string reason = missingOnWindows(ability);
    return reason.empty() && underWine() ? missingUnderWine(ability) : reason;
}

} // namespace VexaSsl::test
