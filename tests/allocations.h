// The memory that the program's own sources ask for, in reach of tests and fuzzers: their calls of malloc, calloc,
// strdup, strndup and free are linked to the functions behind this header.
#ifndef ALLOCATIONS_H
#define ALLOCATIONS_H

#include <vector>

// Lets the n-th allocation from now on fail, and no other; 0: none.
void failAllocation(int number);

// The places in the program that asked for memory since the last call of failAllocation. Ends what that began.
std::vector<const void *> allocationPlaces();

// From the one call to the other it is noted what the program allocates; what it has not freed by then is freed.
void holdAllocations();
void freeAllocations();

#endif
