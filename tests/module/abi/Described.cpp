// Compiled with full debug information so that the binary interface can be described: every type
// that crosses between a host and the library is named by a function, the rest follows from these.
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/KelException.h>
#include <VexaSsl/ModuleVersion.h>
#include <VexaSsl/VModuleVersion.h>
#include <VexaSsl/VexaSsl.h>

VEXASSL_API void describe(VexaSsl::ILog&, VexaSsl::IConfig&, VexaSsl::ISocketStrategy&,
                          VexaSsl::IOtlsProvider&, VexaSsl::KelException&, VModuleVersion&,
                          VexaSsl::DLLVERSIONINFO&, VexaSsl::fd_set&, VexaSsl::WSABUF&,
                          VexaSsl::OVERLAPPED&, VexaSsl::QOS&, VexaSsl::ADDRINFOW&,
                          VexaSsl::LPCONDITIONPROC, VexaSsl::LPWSAOVERLAPPED_COMPLETION_ROUTINE);

void describe(VexaSsl::ILog& log, VexaSsl::IConfig& config, VexaSsl::ISocketStrategy& strategy,
              VexaSsl::IOtlsProvider& provider, VexaSsl::KelException&, VModuleVersion&,
              VexaSsl::DLLVERSIONINFO&, VexaSsl::fd_set&, VexaSsl::WSABUF&, VexaSsl::OVERLAPPED&,
              VexaSsl::QOS&, VexaSsl::ADDRINFOW&, VexaSsl::LPCONDITIONPROC,
              VexaSsl::LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
    // Calls through every class, so that the compiler tells of them in full.
    log.log(VexaSsl::Severity::Debug, L"");
    config.getValue(L"");
    strategy.completeAcceptEx();
    provider.startOtls();
}
