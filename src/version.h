#ifndef NELKANET_VERSION_H
#define NELKANET_VERSION_H

/// @file
/// The version of libnelkanet that these headers belong to.

/// Incremented, with the soname, when programs must be rebuilt.
#define NELKANET_VERSION_MAJOR 1
/// Incremented for additions.
#define NELKANET_VERSION_MINOR 0
/// Incremented for fixes.
#define NELKANET_VERSION_PATCH 0
/// All three as text.
#define NELKANET_VERSION "1.0.0"

#endif
