// Opportunistic TLS: the second face of the outermost strategy when UseEncryption is
// Opportunistically. A host reaches it from the strategy that it holds:
//
//     auto* otls = dynamic_cast<VexaSsl::IOtlsProvider*>(strategy.get());
//
// With InjectLogLayers the outermost object is a log layer and the cast gives null.
#pragma once

namespace VexaSsl {

// The switch from the clear to TLS.
class IOtlsProvider {
public:
    virtual ~IOtlsProvider() = default;

    // Runs the handshake of the connection's role on the calling thread: client after a connect,
    // server after an accept. Result: 0, also when TLS is on already; SOCKET_ERROR on failure, with
    // the reason in the log. After a failure the socket is open and traffic goes on in the clear;
    // whether to close is the host's decision. A name must have been resolved through the strategy
    // before, on a server too. No other operation and no pending receive may be under way, and
    // clear text that the peer sent behind the agreement must be discarded by the host, never used.
    virtual int startOtls() = 0;
};

} // namespace VexaSsl
