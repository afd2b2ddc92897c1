// Preloaded by LD_PRELOAD: lets time limits pass at once, and sends a signal between two commands.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

static bool bInVain;      // the last wait timed out: the next ones return at once
static time_t secondsOff; // by which the clock is ahead, for the waits that returned at once

// A real second is a thousand seconds on this clock.
extern "C" int clock_gettime(clockid_t clock, timespec *pTime) noexcept {
    const long status = syscall(SYS_clock_gettime, clock, pTime);
    pTime->tv_sec = pTime->tv_sec * 1000 + pTime->tv_nsec / 1000000 + secondsOff;
    return static_cast<int>(status);
}

extern "C" int sigtimedwait(const sigset_t *pSet, siginfo_t *pInfo, const timespec *pTimeout) {
    const timespec nothing = {};
    const long result = syscall(SYS_rt_sigtimedwait, pSet, pInfo, bInVain ? &nothing : pTimeout, sizeof(long));
    bInVain = result < 0 && errno == EAGAIN;
    secondsOff += bInVain;
    return static_cast<int>(result);
}

extern "C" int poll(pollfd *pPolled, nfds_t count, int milliseconds) {
    const bool bStep = milliseconds == 1000;
    const timespec timeout = {bStep && !bInVain, milliseconds % 1000 * 1000000L};
    const int result = ppoll(pPolled, count, milliseconds < 0 ? nullptr : &timeout, nullptr);
    bInVain = bStep && result == 0;
    secondsOff += bInVain;
    return result;
}

// A capture file is there and ours, and no command runs.
extern "C" FILE *fdopen(int descriptor, const char *pMode) noexcept {
    const char *pSignal = getenv("STRIKE");
    if (pSignal != nullptr && strcmp(pMode, "r") == 0)
        kill(getpid(), atoi(pSignal));
    return ((FILE * (*)(int, const char *)) dlsym(RTLD_NEXT, "fdopen"))(descriptor, pMode);
}
