// Compiled with full debug information, from which the binary interface is described. Functions
// name every type of the interface.
#include <VexaPlatform/HostSockets.h>
#include <VexaSsl/KelException.h>
#include <VexaSsl/ModuleVersion.h>
#include <VexaSsl/VModuleVersion.h>
#include <VexaSsl/VexaSsl.h>

VEXASSL_API void describe(VexaSsl::ILog&, VexaSsl::IConfig&, VexaSsl::ISocketStrategy&,
                          VexaSsl::IOtlsProvider&, VexaSsl::IConnectionInfo&,
                          VexaSsl::KelException&, VModuleVersion&, VexaSsl::DLLVERSIONINFO&,
                          VexaSsl::fd_set&, VexaSsl::WSABUF&, VexaSsl::OVERLAPPED&, VexaSsl::QOS&,
                          VexaSsl::ADDRINFOW&, VexaSsl::LPCONDITIONPROC,
                          VexaSsl::LPWSAOVERLAPPED_COMPLETION_ROUTINE);

void describe(VexaSsl::ILog& log, VexaSsl::IConfig& config, VexaSsl::ISocketStrategy& strategy,
              VexaSsl::IOtlsProvider& provider, VexaSsl::IConnectionInfo& info,
              VexaSsl::KelException&, VModuleVersion&, VexaSsl::DLLVERSIONINFO&, VexaSsl::fd_set&,
              VexaSsl::WSABUF&, VexaSsl::OVERLAPPED&, VexaSsl::QOS&, VexaSsl::ADDRINFOW&,
              VexaSsl::LPCONDITIONPROC, VexaSsl::LPWSAOVERLAPPED_COMPLETION_ROUTINE) {
    // Calls of every class, so that the debug information has their definitions.
    log.log(VexaSsl::Severity::Debug, L"");
    config.getValue(L"");
    strategy.completeAcceptEx();
    provider.startOtls();
    info.connectionInfo();
    info.lastFailure();
    info.heldBytes();
}
