// Lets tests and fuzzers count, fail and free the memory of the program's own sources. The linker replaces their calls
// of malloc, calloc, strdup, strndup and free.
#ifndef ALLOCATIONS_H
#define ALLOCATIONS_H

#include <vector>

// Lets the n-th allocation from now on fail; 0: no allocation.
void failAllocation(int number);

// Returns the places in the program that asked for memory since the last call of failAllocation, and stops counting.
std::vector<const void *> allocationPlaces();

// The first notes from now on what the program allocates; the second frees all of it that the program has not freed.
void holdAllocations();
void freeAllocations();

#endif
