// Counts the allocations of a process with libcountallocations preloaded.
#pragma once

struct Allocations {
    long count; ///< calls of malloc() and the like
    long peak;  ///< the most bytes held at any moment, beyond those held at the start
};

extern "C" {
void allocationsStart();
Allocations allocationsStop();
}
