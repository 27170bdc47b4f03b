// The steps that scenarios are made of. Each does what a host does, with one operation of the
// library in it, and says whether the host goes on.
#pragma once

#include "faults/Scenario.h"

#include <string>
#include <vector>

namespace VexaSsl::test {

// What the peer sends, a record each.
inline const std::vector<std::string> saidByPeer = {"first record", "second", "and a third one"};
inline const std::string allSaidByPeer = "first recordsecondand a third one";
// What passes in the clear before an upgrade.
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
// Receives in the clear exactly this text.
Step hearClear(const std::string& text);
// Receives into room bytes, which brings the next size bytes of what the peer says.
Step receive(std::size_t size, std::size_t room, int flags = 0);
Step selectAlone();
// Also asks whether the socket can be written to.
Step selectBesideWriting();
// Posts a receive into buffers of these sizes and waits for it.
Step postReceive(const std::vector<std::size_t>& sizes);
// Completes it, which brings the next size bytes of what the peer says.
Step completeReceive(std::size_t size);
Step readConfiguration();

} // namespace VexaSsl::test
