#ifndef NELKANET_VERSION_H
#define NELKANET_VERSION_H

/// @file
/// The version of libnelkanet that these headers belong to.

/// Moves, and the soname with it, when programs must be built again.
#define NELKANET_VERSION_MAJOR 1
/// Moves when something is added.
#define NELKANET_VERSION_MINOR 0
/// Incremented for fixes.
#define NELKANET_VERSION_PATCH 0
/// The three of them as text.
#define NELKANET_VERSION "1.0.0"

#endif
