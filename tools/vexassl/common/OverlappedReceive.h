// Overlapped receives on a strategy, one at a time: post, wait for the completion, finish, and take
// what the strategy holds besides. Each posted receive is finished before the next one, so the
// strategy never fills the buffer of an earlier one.
//
// Threads: one at a time. A completion port may give the completion to another thread before post
// has returned; that thread must not call finish until then.
//
// Ownership: strategy and socket are borrowed and outlive it. No receive may be pending when it is
// destroyed.
#pragma once

#include "VexaSsl/ISocketStrategy.h"
#include "common/FirstEnd.h"

namespace VexaSsl::tool {

class OverlappedReceive {
public:
    OverlappedReceive(ISocketStrategy& strategy, SOCKET socket)
        : strategy(strategy), socket(socket) {}

    // Posts a receive into buffer, whose completion sets event. A null event is for a socket that
    // is bound to a completion port. Returns false when nothing will complete; finish comes next
    // then, too.
    bool post(char* buffer, int size, HANDLE event);

    // Finishes the posted receive; with waits, waits for it first. Returns the number of bytes of
    // application data in its buffer. 0 means a partial record or the end of the stream.
    int finish(bool waits);

    // Whether the strategy may hold application data that no completion announces: after a full
    // buffer and after the end.
    bool mayHoldMore() const { return mayHold; }
    // Returns the number of held bytes that it has stored in buffer; finish or takeHeld came
    // before.
    int takeHeld(char* buffer, int size);

    // Whether the bytes received last were no whole record.
    bool isInsideRecord() const { return insideRecord; }
    const FirstEnd& end() const { return firstEnd; }

private:
    enum class Posting {
        UnderWay,
        Failed,   // but the strategy must complete it
        NotTaken, // the strategy itself is out of memory; the log has a line
    };

    Posting tryPost(SOCKET s, char* buffer, int size, WSAOVERLAPPED& overlapped);
    void finishUnwaited();
    int takeHeldEnd(char* buffer, int size);
    int complete(DWORD transferred, int size);
    void set(StreamEnd end);
    void setLost();

    ISocketStrategy& strategy;
    SOCKET socket;
    WSAOVERLAPPED state{};
    Posting posting = Posting::NotTaken;
    int postedSize = 0;
    FirstEnd firstEnd;
    bool mayHold = false;
    bool insideRecord = false;
};

} // namespace VexaSsl::tool
