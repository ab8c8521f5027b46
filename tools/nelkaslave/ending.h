// The signals that end the slave.
#pragma once

namespace nelkaslave {

/// From here on SIGTERM, SIGINT and SIGHUP (unless it was ignored, as nohup does) ask the process to end, at whatever
/// moment they come.
void endOnSignals();

/// Whether one has come. Whatever takes long asks from time to time.
bool ending();

} // namespace nelkaslave
