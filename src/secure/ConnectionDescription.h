// What the platform reports on a secured connection, for IConnectionInfo::connectionInfo. Only the
// call itself asks the platform; nothing is kept. Writes no line.
//
// Threads: nothing else may use the record during the call.
#pragma once

#include "VexaSsl/IConnectionInfo.h"

namespace VexaSsl {

class SecureSocketRecord;

// Returns the description of an established connection. All empty if the platform no longer
// describes the connection, as after a broken record.
ConnectionInfo describeConnection(SecureSocketRecord& record);

} // namespace VexaSsl
