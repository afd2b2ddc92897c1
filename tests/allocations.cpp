// Counts, fails and frees what the program's own sources allocate: the linker turns their calls into these.
#include "allocations.h"

#include <cstddef>
#include <unordered_set>

static int failing;
static bool bCounting;
static bool bHolding;

static std::vector<const void *> &places() {
    static std::vector<const void *> places;
    return places;
}

static std::unordered_set<void *> &held() {
    static std::unordered_set<void *> pointers;
    return pointers;
}

// Notes who asked for memory. Returns whether the call is to fail.
static bool isToFail(const void *pPlace) {
    if (bCounting)
        places().push_back(pPlace);
    return bCounting && static_cast<int>(places().size()) == failing;
}

template <typename Pointer> static Pointer hold(Pointer pMemory) {
    if (bHolding)
        held().insert(pMemory);
    return pMemory;
}

// The linker's option --wrap turns a call of NAME into one of __wrap_NAME; __real_NAME is the library's function.
#define ALLOCATOR(NAME, RESULT, PARAMETERS, ARGUMENTS)                                                                 \
    RESULT __real_##NAME PARAMETERS;                                                                                   \
    RESULT __wrap_##NAME PARAMETERS {                                                                                  \
        return isToFail(__builtin_return_address(0)) ? nullptr : hold(__real_##NAME ARGUMENTS);                        \
    }

extern "C" {
ALLOCATOR(malloc, void *, (size_t size), (size))
ALLOCATOR(calloc, void *, (size_t number, size_t size), (number, size))
ALLOCATOR(strdup, char *, (const char *pText), (pText))
ALLOCATOR(strndup, char *, (const char *pText, size_t length), (pText, length))

void __real_free(void *pMemory);
void __wrap_free(void *pMemory) {
    if (bHolding)
        held().erase(pMemory);
    __real_free(pMemory);
}
}

void failAllocation(int number) {
    failing = number;
    bCounting = true;
    places().clear();
}

std::vector<const void *> allocationPlaces() {
    bCounting = false;
    return places();
}

void holdAllocations() {
    bHolding = true;
}

void freeAllocations() {
    bHolding = false;
    for (void *pMemory : held())
        __real_free(pMemory);
    held().clear();
}
