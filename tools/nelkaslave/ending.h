// SIGTERM and SIGINT.
#pragma once

namespace nelkaslave {

/// From here on SIGTERM and SIGINT ask the process to end, at whatever moment they come.
void endOnSignals();

/// Whether one has come. Whatever takes long asks from time to time.
bool ending();

} // namespace nelkaslave
