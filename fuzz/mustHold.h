// Aborts the process if a condition does not hold.
#ifndef MUST_HOLD_H
#define MUST_HOLD_H

#include <cstdio>
#include <cstdlib>

#define MUST_HOLD(CONDITION) ((CONDITION) ? (void)0 : (dprintf(2, "does not hold: %s\n", #CONDITION), abort()))

#endif
