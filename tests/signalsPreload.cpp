// Laid over the program by LD_PRELOAD: time limits pass at once, and a signal strikes between two commands.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

// The two limits are a second, what is shorter stays.
extern "C" unsigned alarm(unsigned seconds) noexcept {
    return (unsigned)syscall(SYS_alarm, seconds >= 30 ? 1 : seconds);
}

// A capture file is there and ours, and no command runs.
extern "C" FILE *fdopen(int descriptor, const char *pMode) noexcept {
    const char *pSignal = getenv("STRIKE");
    if (pSignal != nullptr && strcmp(pMode, "r") == 0)
        kill(getpid(), atoi(pSignal));
    return ((FILE * (*)(int, const char *)) dlsym(RTLD_NEXT, "fdopen"))(descriptor, pMode);
}
