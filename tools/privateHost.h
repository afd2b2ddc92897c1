// Private hosts, for the tests and the examples. A private host is a child process that sees the files of the machine
// with others in front of them, may have a host name of its own, and writes to a scratch layer that vanishes with it.
//
// Its changes do not reach the real machine, except through /proc, /sys, the devices and, with bindsWritable, the bound
// directories. It needs root (or CAP_SYS_ADMIN).
#ifndef PRIVATE_HOST_H
#define PRIVATE_HOST_H

#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

struct privateHost {
    std::vector<std::string> layers; // directories whose contents cover those of `/`; a later one covers an earlier one
    std::string hostName;            // empty: the machine's own name
    std::vector<std::string> binds;  // directories seen at the same path wherever they are: see enterPrivateHost
    bool bindsWritable = false;      // writes below `binds` reach the real directories instead of the scratch layer
    bool ownNetwork = false;         // a network namespace with nothing but an enabled loopback
    std::vector<std::string> removed;                       // paths that are removed after the layers are in place
    std::vector<std::pair<std::string, std::string>> files; // path and content, written last; mode 0755 after "#!"
};

struct runResult {
    int status; // exit status; 128 + n when signal n ended the program; 125 when there was no private host
    std::string out, err;
    std::map<std::string, std::string> files; // path and content of everything that was to be fetched and was there
    std::set<std::string> changed;            // filesChangedOnHost at the end, counted from behind `afterEnter`
};

// Whether this machine permits private hosts; if not, `why` gets the reason. The first call tries it in a child, later
// calls return the same answer.
bool privateHostsPermitted(std::string &why);

// Turns the current process into a private host, at `/` and with umask 022. Only for a process that was forked for it.
// The host sees files below /tmp, or on another file system than `/`, /usr and /var, only through `binds`. The files in
// /etc that name the distribution are removed, unless a layer or `files` has them; only /etc/os-release, which every
// distribution has, stays. The scratch layer has 4 GB, and uses memory only for what is written. Throws an exception
// that says why there is no private host.
void enterPrivateHost(const privateHost &host);

// In a private host: the paths of all files, links and new directories that were made, written or removed, or got
// another owner or mode, since the host was entered or its state was remembered again. Bound directories count only
// when they are not writable.
std::set<std::string> filesChangedOnHost();
void rememberHost();

// Runs `work` in a private host and returns its result as an exit status: 128 + n when signal n ended it, 125 (with
// a message on standard error) when there could be no private host or `work` threw.
int runOnHost(const privateHost &host, const std::function<int()> &work);

// Runs a program in a private host, in directory `cwd`, with an empty standard input, and captures what it prints.
// The environment holds HOME, PATH (with /fakes first when the host has fake tools), the options of the sanitizers, and
// `env`. `fetch` names files, or patterns for them, that are read before the host vanishes; a directory gives an empty
// text. `afterEnter` runs first, in the host.
runResult runProgram(const privateHost &host, const std::vector<std::string> &argv,
                     const std::map<std::string, std::string> &env = {}, const std::string &cwd = "/",
                     const std::vector<std::string> &fetch = {}, const std::function<void()> &afterEnter = {});

// One entry for `files`: a command /fakes/NAME that adds the line "NAME ARGUMENTS" to /fakes/log and then runs the
// shell lines of `body`.
std::pair<std::string, std::string> fakeTool(const std::string &name, const std::string &body);

#endif
