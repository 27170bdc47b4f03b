// Opportunistic TLS: switching a connection from clear text to TLS. The strategy that
// instantiateSocketStrategy returns implements this interface, too, when UseEncryption is
// Opportunistically:
//
//     auto* otls = dynamic_cast<VexaSsl::IOtlsProvider*>(strategy.get());
//
// With InjectLogLayers the outermost object is a log layer, and the cast returns null.
#pragma once

namespace VexaSsl {

// Part of a strategy, which owns it.
class IOtlsProvider {
public:
    virtual ~IOtlsProvider() = default;

    // Runs the handshake on the calling thread: as a client after a connect, as a server after an
    // accept. Returns 0, also when TLS is on already, or SOCKET_ERROR without an error code; the
    // reason is in the log. After a failure the socket is open and traffic continues in clear text;
    // whether to close it is the host's decision.
    //
    // Before the call the host must have resolved a name through the strategy, on a server too.
    // Until then select refuses the socket. No other operation may run and no receive may be
    // pending. Clear text that the peer sent after the agreement to switch must be discarded, never
    // used: it may be an attacker's.
    virtual int startOtls() = 0;
};

} // namespace VexaSsl
