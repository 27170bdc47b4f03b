// What is run again and again with something failing in it: a connection of which one end is under
// test, step by step, while the other end is a healthy peer in a thread of its own.
//
// The peer sends all that it has to say as soon as it is connected, ends its stream, and then reads
// to the end. So nobody ever waits for an answer of an end that has failed, and what the end under
// test receives lies ready before it looks: each run makes the same calls in the same order.
#pragma once

#include "faults/Watch.h"

#include "VexaSsl/VexaSsl.h"
#include "fakes/CollectingLog.h"
#include "integration/support/HostSocket.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace VexaSsl::test {

// What a step is to the host; failures mean different things to different kinds.
enum class Kind {
    configure,
    build,
    resolve,
    connect,
    accept,
    postAccept,
    completeAccept,
    startTls,
    send,
    receive,
    select,
    postReceive,
    completeReceive,
    release,
};

// The last error before each step, to see whether the step sets it.
inline constexpr int untouchedError = 12345;

struct StepOutcome {
    Kind kind = Kind::build;
    std::int64_t result = 0; // sockets: 0, or -1 for none
    int error = 0;
    int breakpoints = 0;
    std::string thrown = {};   // the text of an exception
    std::size_t firstLine = 0; // what there was of lines and calls before
    std::size_t firstCall = 0;
};

// Keeps the lines of the end under test, with "S" in the place of socket numbers and "N" in that of
// the sizes of messages, which differ between runs as signatures do.
class StepLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity) override {}

    std::vector<LogLine> lines;
};

// The end under test.
class End {
public:
    End(Watch::Plan plan, const Listener& acceptingSocket);

    // One operation of the library, watched. Result: what it gave.
    std::int64_t perform(Kind kind, const std::function<std::int64_t()>& operation);
    // What a step found wrong besides results and lines.
    void complain(const std::string& what) { trouble += what + "; "; }
    const StepOutcome& last() const { return outcomes.back(); }

    StepLog log;
    const Listener& listener;
    Watch watch;
    std::vector<StepOutcome> outcomes;
    std::string trouble;
    std::unique_ptr<IConfig> config;
    HostSocket socket;
    bool sawEnd = false;                    // all that the peer sends lies ready
    std::size_t heard = 0;                  // how much of what the peer said has been received
    DWORD transferred = 0;                  // by the last overlapped receive
    std::vector<char> shadow;               // what the last overlapped receive was given to fill
    std::unique_ptr<ISocketStrategy> stack; // goes first
};

// One step. Result: whether the host goes on.
using Step = std::function<bool(End&)>;

using Options = std::vector<std::pair<std::wstring, std::wstring>>;

// How the end under test comes to its certificate.
enum class Certificate { none, byName, any };

struct Scenario {
    std::string name;
    bool serves = false;   // the end under test is the server
    bool upgrades = false; // both start in the clear
    Certificate certificate = Certificate::none;
    std::wstring searchedName = {}; // of the certificate
    Options options = {};
    Options peerOptions = {};
    std::vector<Step> steps = {};
    bool hasPeer = true;
    bool hasLogLayers = false;

    // Where the handshake runs.
    bool isHandshake(Kind kind) const {
        return upgrades
                   ? kind == Kind::startTls
                   : kind == Kind::connect || kind == Kind::accept || kind == Kind::completeAccept;
    }
};

// A configuration that encrypts and tells everything, with these options besides.
std::unique_ptr<IConfig> configured(ILog& log, const Options& options);

// What came of a run.
struct Course {
    std::vector<LogLine> lines;
    std::vector<StepOutcome> outcomes;
    std::vector<SeenCall> calls;
    std::vector<SeenAllocation> allocations;
    std::size_t allocationCount = 0;
    std::optional<SeenAllocation> refused;
    // What is wrong whatever has failed: something still held, a time-out, wrong bytes, a socket
    // that isn't shut though it should be. Empty when nothing is.
    std::string trouble;
};

// The scenarios, as far as this system and this user can run them.
const std::vector<Scenario>& scenarios();
const Scenario& scenario(std::string_view name);

Course run(const Scenario& scenario, const Watch::Plan& plan);

// In the place of a last error that nothing is promised about.
inline constexpr int anyError = -1;

// A run without failures, as others are compared with it. The platform's caches are full by then.
Course measured(const Scenario& scenario);

// A number for a figure, "12,345".
std::string grouped(std::size_t number);

} // namespace VexaSsl::test
