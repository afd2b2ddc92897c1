// run-cost [-n RUNS] -- LABEL COMMAND [ARG]... [-- LABEL COMMAND [ARG]...]...: measures what commands cost, as medians
// of some runs. The commands run in turn, so that a change of the machine's speed affects all of them. Their output is
// discarded. The command "@FILE" is a bare loop over the shell commands in FILE, each of which ends with a NUL. Prints
// a line for each command: the wall time, the processor time of the process itself and that of its children
// (milliseconds), the first of the latter two as a share of the second, the peak memory of the process itself
// (kilobytes; measured in one more run, which is not timed), the wall time as a multiple of that of the first command,
// and the exit status.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <string>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

static const int cannotRunStatus = 127;

struct runCost {
    double wall, own, children; // milliseconds
    double factor;              // wall time over that of the first command in the same round
};

struct measuredCommand {
    std::string label;
    std::vector<char *> argv;
    std::vector<runCost> costs;
    long peak; // kilobytes
    int status;
};

static int runEach(const char *pListPath) {
    std::ifstream list(pListPath, std::ios::binary);
    bool bRan = list.is_open();
    for (std::string command; bRan && std::getline(list, command, '\0');)
        bRan = system(command.c_str()) != -1;
    return bRan ? 0 : cannotRunStatus;
}

static pid_t startCommand(const measuredCommand &command, bool bTraced) {
    const pid_t pid = fork();
    if (pid != 0)
        return pid;
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    if (bTraced) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
    }
    if (command.argv[0][0] == '@')
        _exit(runEach(command.argv[0] + 1));
    execvp(command.argv[0], command.argv.data());
    _exit(cannotRunStatus);
}

static double milliseconds(const timeval &time) {
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

static runCost runTimed(const measuredCommand &command) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = startCommand(command, false);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
    const double wall = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    double own = 0; // nanoseconds, of the ended process alone, as long as it is not reaped
    std::ifstream("/proc/" + std::to_string(pid) + "/schedstat") >> own;
    own /= 1e6;
    rusage usage;
    wait4(pid, nullptr, 0, &usage);
    return {wall, own, std::max(0.0, milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime) - own), 1};
}

static long peakMemory(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    long kilobytes = 0;
    for (std::string word; status >> word;)
        if (word == "VmHWM:")
            status >> kilobytes;
    return kilobytes;
}

// Measures the peak memory of a command. wait4 reports that of the largest process in the whole tree. So this stops the
// process just before its exit, while it still has its memory, and reads its own peak. It leaves the children of the
// process alone.
static void runTraced(measuredCommand &command) {
    const pid_t pid = startCommand(command, true);
    int status;
    waitpid(pid, &status, 0);
    ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL);
    int signal = 0;
    while (ptrace(PTRACE_CONT, pid, nullptr, signal) == 0 && waitpid(pid, &status, 0) == pid && WIFSTOPPED(status)) {
        const int event = status >> 16;
        if (event == PTRACE_EVENT_EXIT)
            command.peak = peakMemory(pid);
        signal = event == 0 ? WSTOPSIG(status) : 0;
    }
    command.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

static double median(std::vector<runCost> costs, double runCost::*field) {
    std::sort(costs.begin(), costs.end(), [=](const runCost &a, const runCost &b) { return a.*field < b.*field; });
    return costs[costs.size() / 2].*field;
}

static void printCost(const measuredCommand &command) {
    const auto of = [&](double runCost::*field) { return median(command.costs, field); };
    const double own = of(&runCost::own), children = of(&runCost::children);
    printf("  %-44s%10.2f%10.2f%10.2f%9.1f%%%8ld%8.3f%7d\n", command.label.c_str(), of(&runCost::wall), own, children,
           children > 0 ? 100 * own / children : 0, command.peak, of(&runCost::factor), command.status);
}

// Reads the commands of the command line, each after "--" and its label. Returns none when the command line is wrong.
static std::vector<measuredCommand> readCommands(char **argv) {
    std::vector<measuredCommand> commands;
    while (*argv != nullptr) {
        if (strcmp(argv[0], "--") != 0 || argv[1] == nullptr || argv[2] == nullptr)
            return {};
        commands.push_back({argv[1], {}, {}, 0, 0});
        for (argv += 2; *argv != nullptr && strcmp(*argv, "--") != 0; argv++)
            commands.back().argv.push_back(*argv);
        commands.back().argv.push_back(nullptr);
    }
    return commands;
}

int main(int argc, char **argv) {
    const bool bRuns = argc > 2 && strcmp(argv[1], "-n") == 0;
    const long runs = bRuns ? strtol(argv[2], nullptr, 10) : 11;
    std::vector<measuredCommand> commands = readCommands(argv + (bRuns ? 3 : 1));
    if (runs < 1 || commands.empty()) {
        fputs("usage: run-cost [-n RUNS] -- LABEL COMMAND [ARG]... [-- LABEL COMMAND [ARG]...]...\n", stderr);
        return 2;
    }
    for (measuredCommand &command : commands)
        runTraced(command);
    for (long i = 0; i < runs; i++)
        for (measuredCommand &command : commands) {
            command.costs.push_back(runTimed(command));
            command.costs.back().factor = command.costs.back().wall / commands[0].costs.back().wall;
        }
    for (const measuredCommand &command : commands)
        printCost(command);
    return 0;
}
