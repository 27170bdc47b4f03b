// A scenario is run repeatedly with one failure each: a connection with one end under test, step by
// step, and a healthy peer on another thread.
//
// The peer sends all its data when it is connected, ends its stream, and then reads to the end. So
// it never waits for an end that has failed, and the data arrives before the end under test reads:
// each run makes the same calls in the same order.
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

// The kind of a step. The consequences of a failure depend on it.
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

// The last error before each step, to detect whether the step sets it.
inline constexpr int untouchedError = 12345;

struct StepOutcome {
    Kind kind = Kind::build;
    std::int64_t result = 0; // for sockets: 0, or -1 for an invalid one
    int error = 0;
    int breakpoints = 0;
    std::string thrown = {};   // the text of an exception
    std::size_t firstLine = 0; // the numbers of lines and calls before
    std::size_t firstCall = 0;
};

// Keeps the lines of the end under test, with "S" instead of socket numbers and "N" instead of the
// sizes of messages, which vary with the signatures.
class StepLog : public ILog {
public:
    void log(Severity severity, const std::wstring& text) override;
    void setMinimumSeverity(Severity) override {}

    std::vector<LogLine> lines;
};

// The end under test.
class EndUnderTest {
public:
    EndUnderTest(Watch::Plan plan, const Listener& listener);

    // Performs one operation of the library under the watch and returns its result.
    std::int64_t perform(Kind kind, const std::function<std::int64_t()>& operation);
    // Records a fault other than results and lines.
    void addFault(const std::string& what) { fault += what + "; "; }
    const StepOutcome& last() const { return outcomes.back(); }

    StepLog log;
    const Listener& listener;
    Watch watch;
    std::vector<StepOutcome> outcomes;
    std::string fault;
    std::unique_ptr<IConfig> config;
    HostSocket socket;
    bool peerHasEnded = false;              // all of the peer's data has arrived
    std::size_t receivedSize = 0;           // of the peer's data
    DWORD transferred = 0;                  // by the last overlapped receive
    std::vector<char> overlappedBuffer;     // of the last overlapped receive
    std::unique_ptr<ISocketStrategy> stack; // last, so that it is destroyed first
};

// One step. Returns whether the host continues.
using Step = std::function<bool(EndUnderTest&)>;

using Options = std::vector<std::pair<std::wstring, std::wstring>>;

// How the end under test selects its certificate.
enum class Certificate { none, byName, any };

struct Scenario {
    std::string name;
    bool serves = false;   // the end under test is the server
    bool upgrades = false; // both start in the clear
    Certificate certificate = Certificate::none;
    std::wstring searchedName = {}; // the name of the certificate to search for
    Options options = {};
    Options peerOptions = {};
    std::vector<Step> steps = {};
    bool hasPeer = true;
    bool hasLogLayers = false;

    // Whether a step of this kind runs the handshake.
    bool isHandshake(Kind kind) const {
        return upgrades
                   ? kind == Kind::startTls
                   : kind == Kind::connect || kind == Kind::accept || kind == Kind::completeAccept;
    }
};

// A configuration that encrypts and logs everything, with these additional options.
std::unique_ptr<IConfig> configured(ILog& log, const Options& options);

// The outcome of a run.
struct RunResult {
    std::vector<LogLine> lines;
    std::vector<StepOutcome> outcomes;
    std::vector<SeenCall> calls;
    std::vector<SeenAllocation> allocations;
    std::size_t allocationCount = 0;
    std::optional<SeenAllocation> failedAllocation;
    // What is wrong regardless of the failure: a leak, a time-out, wrong bytes, a socket that isn't
    // shut down. Empty if nothing is.
    std::string fault;
};

// The scenarios that this system and this user can run.
const std::vector<Scenario>& scenarios();
const Scenario& scenarioNamed(std::string_view name);

RunResult run(const Scenario& scenario, const Watch::Plan& plan);

// Stands for a last error that isn't documented.
inline constexpr int anyError = -1;

// A run without failures to compare others with. It is repeated once, so that the platform's caches
// are filled.
RunResult baseRun(const Scenario& scenario);

// Formats a number as "12,345".
std::string grouped(std::size_t number);

} // namespace VexaSsl::test
