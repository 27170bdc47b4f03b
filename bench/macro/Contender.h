// The interface of everything that is measured: connections over the loopback address. Each
// contender is one file that registers itself, so the build can leave it out.
//
// Threads: accept and connect run on different threads at the same time; each end of a connection
// is used by one thread. Every failure is an exception.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace VexaSsl::bench {

// How the ends of a connection receive.
enum class Receiving {
    blocking,
    events,         // overlapped, each receive with an event
    completionPort, // overlapped, all connections of an end on one port
};

// The settings that are the same for all contenders, so that only their code differs. In addition:
// TLS 1.2, no session resumption, and the client verifies the server's chain and that the
// certificate is for 127.0.0.1.
struct Terms {
    Receiving receiving = Receiving::blocking;
    std::string cipherSuite;           // the one to be negotiated, by its OpenSSL name
    std::string group;                 // the same
    std::string cipherSuites;          // the client's offer, as an OpenSSL list
    std::string groups;                // the same
    std::string subject;               // the server certificate's common name
    std::filesystem::path certificate; // PEM
    std::filesystem::path key;         // PEM
    std::filesystem::path trust;       // PEM file of all trust anchors
    std::filesystem::path folder;      // certificate folder with all of these
};

class Connection {
public:
    virtual ~Connection() = default; // closes the socket

    // Sends everything.
    virtual void send(const char* data, std::size_t size) = 0;
    // Waits for data. Returns the number of bytes stored, from 1 to size.
    virtual std::size_t recv(char* data, std::size_t size) = 0;
    // Waits until size bytes are stored.
    virtual void recvAll(char* data, std::size_t size);
    // Posts the receive that an idle connection keeps pending. Blocking connections have none.
    virtual void postReceive() {}
};

class Contender {
public:
    virtual ~Contender() = default;

    // Called before the first connection, and again whenever the terms change.
    virtual void setTerms(const Terms& terms) = 0;
    // Both return a connection after its handshake.
    virtual std::unique_ptr<Connection> connect(std::uint16_t port) = 0;
    virtual std::unique_ptr<Connection> accept(int listener) = 0;
};

// What is measured of a contender.
enum class Field {
    everything,
    handshakes, // its transfers are those of another contender
    transfers,  // it has no handshake
};

struct Entry {
    int place; // order in the tables
    std::string name;
    Field field;
    std::function<std::unique_ptr<Contender>()> make;
};

// Returns all contenders of this build in the order of their place.
std::vector<Entry> contenders();

// A global object that adds a contender.
struct Registration {
    explicit Registration(Entry entry);
};

} // namespace VexaSsl::bench
