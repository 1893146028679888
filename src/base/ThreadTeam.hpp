// How many threads a run may have, and whether the system gives them.
#pragma once

namespace melta {

// The most threads that a run gets: four for each processor that it may use, but not below 64, and never more
// than the OpenMP runtime allows. More have nothing to work on, and their stacks and buffers would exhaust
// the machine.
int findLargestTeam();

// Stops with "cannot make %d threads." unless a team of so many threads can live at once. The OpenMP runtime
// ends the process by itself when it cannot make a thread.
void requireThreads(int numThreads);

// As many of `numThreads` callers of the matrix library as have room for their buffers where the address
// space is limited, at least 1. The library waits for ever when it cannot make a buffer.
int limitBlasCallers(int numThreads);

} // namespace melta
