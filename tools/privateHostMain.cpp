// The command private-host: runs a command in a private host and passes its exit status on.
#include "privateHost.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <unistd.h>

static const int usageStatus = 2;
static const int noHostStatus = 125;
static const int cannotRunStatus = 127;

static void printUsage(FILE *out) {
    fputs("Usage: private-host [-l LAYER]... [-n HOSTNAME] [-b DIR]... [-w] [-N] [-C DIR] -- COMMAND [ARGUMENT]...\n"
          "Runs COMMAND on a private host: this machine's files, with others laid over them, and nothing that is\n"
          "written there reaches this machine. Needs root.\n"
          "  -l LAYER     lay the files below the directory LAYER over /; a later layer covers an earlier one\n"
          "  -n HOSTNAME  the private host's name\n"
          "  -b DIR       show DIR at the same path also where it is below /tmp, which is empty there, or on a file\n"
          "               system other than that of /\n"
          "  -w           what is written below the -b directories reaches the real ones\n"
          "  -N           a network of its own, with nothing but a loopback\n"
          "  -C DIR       the directory to run COMMAND in (default /)\n"
          "The exit status is that of COMMAND, 128 + n when signal n ended it, 127 when it cannot be run, 125 when\n"
          "there can be no private host here.\n",
          out);
}

static int runCommand(const char *pDirectory, char **argv) {
    if (chdir(pDirectory) != 0) {
        fprintf(stderr, "private-host: %s: %s\n", pDirectory, strerror(errno));
        return noHostStatus;
    }
    execvp(argv[0], argv);
    fprintf(stderr, "private-host: %s: %s\n", argv[0], strerror(errno));
    return cannotRunStatus;
}

int main(int argc, char **argv) {
    privateHost host;
    const char *pDirectory = "/";
    for (int option; (option = getopt(argc, argv, "+l:n:b:wNC:h")) != -1;) {
        switch (option) {
        case 'l': host.layers.push_back(optarg); break;
        case 'n': host.hostName = optarg; break;
        case 'b': host.binds.push_back(optarg); break;
        case 'w': host.bindsWritable = true; break;
        case 'N': host.ownNetwork = true; break;
        case 'C': pDirectory = optarg; break;
        case 'h': printUsage(stdout); return 0;
        default: printUsage(stderr); return usageStatus;
        }
    }
    if (optind == argc) {
        printUsage(stderr);
        return usageStatus;
    }

    std::string why;
    if (!privateHostsPermitted(why)) {
        fprintf(stderr, "private-host: private hosts are not permitted here (%s)\n", why.c_str());
        return noHostStatus;
    }
    return runOnHost(host, [=] { return runCommand(pDirectory, argv + optind); });
}
