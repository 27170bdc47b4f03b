// What the benchmark asks of everybody who is measured: connections over loopback, and bytes
// through them. Each contender is one file that registers itself, so the build leaves one out by
// leaving out its file.
//
// Threads: accept runs on one thread while connect runs on another, and the two ends of a
// connection are used on one thread each. Failures are exceptions: a benchmark has no use for a
// connection that half works.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::bench {

// What all agree upon, so that only the code between the caller and the socket differs. TLS 1.2,
// no session is taken up again, and the client checks the server's chain and that the certificate
// is made out to 127.0.0.1.
struct Terms {
    std::string suite;  // that comes of it, as OpenSSL calls it
    std::string group;  // as OpenSSL calls it
    std::string suites; // what a client offers, in OpenSSL's form of a list
    std::string groups;
    std::string subject;               // the server certificate's common name
    std::filesystem::path certificate; // PEM
    std::filesystem::path key;         // PEM
    std::filesystem::path trust;       // PEM, all trust anchors
    std::filesystem::path folder;      // the same, as a certificate folder
};

class Connection {
public:
    virtual ~Connection() = default; // closes

    // Sends everything.
    virtual void send(const char* data, std::size_t size) = 0;
    // Waits for something and gives at most size bytes. Result: how many, never 0.
    virtual std::size_t recv(char* data, std::size_t size) = 0;
};

class Contender {
public:
    virtual ~Contender() = default;

    // Before the first connection; may come again with other terms.
    virtual void settle(const Terms& terms) = 0;
    // Each gives a connection with a finished handshake.
    virtual std::unique_ptr<Connection> connect(std::uint16_t port) = 0;
    virtual std::unique_ptr<Connection> accept(int listener) = 0;
};

// Which questions a contender is asked.
enum class Field {
    everything,
    handshakes, // differs from another contender only in how a connection is made
    transfers,  // has no handshake
};

struct Entry {
    int place; // in tables
    std::string name;
    Field field;
    std::function<std::unique_ptr<Contender>()> make;
};

// Everybody built in, by place.
std::vector<Entry> contenders();

struct Registration {
    explicit Registration(Entry entry);
};

} // namespace VexaSsl::bench
