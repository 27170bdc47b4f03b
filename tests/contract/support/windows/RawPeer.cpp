// Windows tests link no other TLS library: every constructor throws.
#include "contract/support/RawPeer.h"

#include "contract/support/RecordForge.h"

#include <stdexcept>

namespace VexaSsl::test {
namespace {

[[noreturn]] void refuse() {
    throw std::logic_error("this system has no foreign TLS peer in memory");
}

} // namespace

struct RawPeer::State {};

RawPeer::RawPeer(bool, const PeerSettings&) {
    refuse();
}

RawPeer::RawPeer(RawPeer&& other) noexcept = default;
RawPeer::~RawPeer() = default;

RawPeer RawPeer::client(const PeerSettings& settings) {
    return {false, settings};
}

RawPeer RawPeer::server(const std::string&, const PeerSettings& settings) {
    return {true, settings};
}

Bytes RawPeer::step(const Bytes&) {
    refuse();
}

bool RawPeer::established() const {
    refuse();
}

Bytes RawPeer::protect(const std::string&) {
    refuse();
}

std::string RawPeer::open(const Bytes&) {
    refuse();
}

std::string RawPeer::openOne(const Bytes&) {
    refuse();
}

void RawPeer::incoming(const Bytes&) {
    refuse();
}

Bytes RawPeer::sendClosure() {
    refuse();
}

Bytes RawPeer::renegotiate() {
    refuse();
}

bool RawPeer::speaksTls12() const {
    refuse();
}

bool RawPeer::receivedClosure() const {
    refuse();
}

std::string RawPeer::requestedName() const {
    refuse();
}

int RawPeer::namedAuthorities() const {
    refuse();
}

void RawPeer::offerSessionOf(const RawPeer&) {
    refuse();
}

bool RawPeer::hasTicket() const {
    refuse();
}

bool RawPeer::resumedSession() const {
    refuse();
}

RecordForge::RecordForge(const RawPeer&) {
    refuse();
}

Bytes RecordForge::record(unsigned char, const Bytes&) {
    refuse();
}

} // namespace VexaSsl::test
