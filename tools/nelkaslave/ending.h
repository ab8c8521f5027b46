// The signals that end the slave.
#pragma once

namespace nelkaslave {

/// From here on SIGTERM, SIGINT and SIGHUP (unless ignored, as under nohup) end the process, whenever they come.
void endOnSignals();

/// Whether one has come. Anything that takes long must check from time to time.
bool ending();

} // namespace nelkaslave
