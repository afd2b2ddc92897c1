// run-cost [-n RUNS] -- COMMAND [ARG]...: what a command costs, as the medians over some runs: wall time, the
// processor time that it used itself, that of the commands that it ran, and its peak memory. Its output is discarded.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

struct runCost {
    double wall, own, children; // milliseconds
    double memory;              // kilobytes
};

// The processor time of the ended, not yet reaped process alone, in milliseconds.
static double ownTime(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/schedstat";
    unsigned long long nanoseconds = 0;
    if (FILE *pFile = fopen(path.c_str(), "re")) {
        if (fscanf(pFile, "%llu", &nanoseconds) != 1)
            nanoseconds = 0;
        fclose(pFile);
    }
    return static_cast<double>(nanoseconds) / 1e6;
}

static double milliseconds(const timeval &time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

static runCost runOnce(char **argv) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        execvp(argv[0], argv);
        _exit(127);
    }
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    runCost cost = {};
    cost.wall = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    cost.own = ownTime(pid);
    rusage usage;
    int status;
    wait4(pid, &status, 0, &usage);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 127) {
        fprintf(stderr, "run-cost: cannot run %s\n", argv[0]);
        exit(1);
    }
    cost.children = std::max(0.0, milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime) - cost.own);
    cost.memory = static_cast<double>(usage.ru_maxrss);
    return cost;
}

static double median(std::vector<runCost> costs, double runCost::*field) {
    std::sort(costs.begin(), costs.end(), [&](const runCost &a, const runCost &b) { return a.*field < b.*field; });
    return costs[costs.size() / 2].*field;
}

int main(int argc, char **argv) {
    int runs = 11;
    int option;
    while ((option = getopt(argc, argv, "+n:")) == 'n')
        runs = std::max(1, atoi(optarg));
    if (option != -1 || optind >= argc) {
        fputs("usage: run-cost [-n RUNS] -- COMMAND [ARG]...\n", stderr);
        return 2;
    }
    std::vector<runCost> costs;
    for (int i = 0; i < runs; i++)
        costs.push_back(runOnce(argv + optind));
    printf("%9.2f %9.2f %9.2f %9.0f\n", median(costs, &runCost::wall), median(costs, &runCost::own),
           median(costs, &runCost::children), median(costs, &runCost::memory));
    return 0;
}
