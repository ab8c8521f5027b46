// Counts what a process allocates, where libcountallocations is preloaded.
#pragma once

struct Allocations {
    long count; ///< calls of malloc() and its kin
    long peak;  ///< bytes, the most that were held at once beyond those held at the start
};

extern "C" {
void allocationsStart();
Allocations allocationsStop();
}
