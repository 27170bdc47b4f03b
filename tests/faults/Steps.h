// The steps of scenarios. Each does what a host does, with one operation of the library, and
// returns whether the host continues.
#pragma once

#include "faults/Scenario.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// The texts that the peer sends, one record each.
inline const std::vector<std::string> peerTexts = {"first record", "second", "and a third one"};
inline const std::string allPeerTexts = "first recordsecondand a third one";
// The texts sent in the clear before an upgrade.
inline const std::string upgradeRequest = "UPGRADE";
inline const std::string upgradeAgreement = "AGREED";

Step build();
Step resolve();
Step resolveWide();
Step connect();
Step connectWithoutHandshake(); // WSAConnect, before an upgrade
Step accept();
Step acceptWithoutHandshake(); // WSAAccept, before an upgrade
Step postAccept();
Step completeAccept();
Step startTls();
Step send(const std::string& text);
Step sendPieces(const std::vector<std::string>& texts);
// Receives exactly this text in the clear.
Step receiveClear(const std::string& text);
// Receives into room bytes and expects the next size bytes of the peer's data.
Step receive(std::size_t size, std::size_t room, int flags = 0);
Step selectReadable();
// Also checks for writability.
Step selectReadableAndWritable();
// Posts an overlapped receive into buffers of these sizes and waits for its completion.
Step postReceive(const std::vector<std::size_t>& sizes);
// Completes it and expects the next size bytes of the peer's data.
Step completeReceive(std::size_t size);
Step readConfiguration();

} // namespace VexaSsl::test
