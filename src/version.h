// The version of libnelkanet that these headers belong to.
#ifndef NELKANET_VERSION_H
#define NELKANET_VERSION_H

#define NELKANET_VERSION_MAJOR 1
#define NELKANET_VERSION_MINOR 0
#define NELKANET_VERSION_PATCH 0
#define NELKANET_VERSION "1.0.0"

#endif
