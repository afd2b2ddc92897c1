// kvxprereqlint: judges prerequisites files, and explains them for a host that need not be there.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <getopt.h>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "explain.h"
#include "lint.h"

namespace {

using std::string;

enum ExitStatus {
    CLEAN = 0,
    FINDINGS = 1,
    TROUBLE = 2, // a file that cannot be read, or wrong options
};

constexpr char usage[] =
    "usage: kvxprereqlint [--unread] FILE...\n"
    "       kvxprereqlint --levels FILE\n"
    "       kvxprereqlint --explain LEVEL --distribution NAME --release VERSION [--service-pack N]\n"
    "                     [--kernel VERSION] [--clustered] [--client] FILE\n";

constexpr char help[] =
    "\n"
    "Finds lines of a prerequisites file that kvxprereqcheck does not take as they look.\n"
    "\n"
    "  --unread             also report elements that no check reads\n"
    "  --levels             list the levels, the newest first\n"
    "  --explain LEVEL      list what a host would be asked for; it need not exist:\n"
    "  --distribution NAME  RHEL, SUSE, UBUNTU, INSPUR or CENTOS\n"
    "  --release VERSION    its release, such as 9.4\n"
    "  --service-pack N     its service pack, where the release does not hold it\n"
    "  --kernel VERSION     its kernel, such as 5.14.0; without it conditions on it hold\n"
    "  --clustered          the pass that checks the clustered feature\n"
    "  --client             the checks of a client\n"
    "  -h, --help           print this\n"
    "\n"
    "Exit status: 0 nothing was found, 1 findings, 2 a file cannot be read or the options are wrong.\n";

struct wrongUsage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct arguments {
    bool bHelp = false, bUnread = false, bLevels = false, bExplain = false, bHostOption = false;
    string level;
    lint::describedHost host;
    std::vector<string> files;
};

/* --- Texts that describe a host --- */

constexpr char digits[] = "0123456789";

// A release is what a release file says, so what follows its first number is not judged.
bool isRelease(const string &text) {
    return text.find_first_of(digits) == 0;
}

bool isServicePack(const string &text) {
    return !text.empty() && text.find_first_not_of(digits) == string::npos;
}

bool isKernel(const string &text) {
    std::size_t begin = 0;
    for (int part = 1; part <= 3; part++) {
        const std::size_t end = std::min(text.find_first_not_of(digits, begin), text.size());
        if (end == begin || (part < 3 && text[end] != '.'))
            return false;
        begin = end + 1;
    }
    return true;
}

// Without the usage text, which would hide what is wanted.
string checked(const char *pText, bool (*isFit)(const string &), const char *pWanted) {
    if (!isFit(pText))
        throw std::runtime_error(string(pWanted) + ", not \"" + lint::printable(pText) + "\"");
    return pText;
}

/* --- Arguments --- */

arguments readArguments(int argc, char **argv) {
    enum { UNREAD = 1, LEVELS, EXPLAIN, DISTRIBUTION, RELEASE, SERVICE_PACK, KERNEL, CLUSTERED, CLIENT, HELP = 'h' };
    static constexpr option options[] = {
        {"unread", no_argument, nullptr, UNREAD},
        {"levels", no_argument, nullptr, LEVELS},
        {"explain", required_argument, nullptr, EXPLAIN},
        {"distribution", required_argument, nullptr, DISTRIBUTION},
        {"release", required_argument, nullptr, RELEASE},
        {"service-pack", required_argument, nullptr, SERVICE_PACK},
        {"kernel", required_argument, nullptr, KERNEL},
        {"clustered", no_argument, nullptr, CLUSTERED},
        {"client", no_argument, nullptr, CLIENT},
        {"help", no_argument, nullptr, HELP},
        {nullptr, 0, nullptr, 0},
    };
    arguments given;
    for (int found; (found = getopt_long(argc, argv, "h", options, nullptr)) != -1;) {
        given.bHostOption = given.bHostOption || (found >= DISTRIBUTION && found <= CLIENT);
        switch (found) {
        case UNREAD: given.bUnread = true; break;
        case LEVELS: given.bLevels = true; break;
        case EXPLAIN:
            given.bExplain = true;
            given.level = optarg;
            break;
        case DISTRIBUTION: given.host.distribution = optarg; break;
        case RELEASE:
            given.host.release = checked(optarg, isRelease, "--release begins with a digit, such as 9.4");
            break;
        case SERVICE_PACK:
            given.host.servicePack = checked(optarg, isServicePack, "--service-pack is a whole number, such as 4");
            break;
        case KERNEL:
            given.host.kernel = checked(optarg, isKernel,
                                        "--kernel is three numbers, such as 5.14.0 (a kernel with fewer fails the "
                                        "kernel level check)");
            break;
        case CLUSTERED: given.host.bClustered = true; break;
        case CLIENT: given.host.bClient = true; break;
        case HELP: given.bHelp = true; break;
        default: throw wrongUsage("");
        }
    }
    given.files.assign(argv + optind, argv + argc);
    return given;
}

void checkArguments(const arguments &given) {
    const lint::describedHost &host = given.host;
    if (given.files.empty())
        throw wrongUsage("no file is given");
    if (given.bLevels + given.bExplain + given.bUnread > 1)
        throw wrongUsage("--levels, --explain and --unread exclude each other");
    if ((given.bLevels || given.bExplain) && given.files.size() > 1)
        throw wrongUsage("--levels and --explain take one file");
    if (given.bHostOption && !given.bExplain)
        throw wrongUsage("a host is described for --explain only");
    if (!given.bExplain)
        return;
    if (!lint::isKnownDistribution(host.distribution))
        throw wrongUsage("--distribution is RHEL, SUSE, UBUNTU, INSPUR or CENTOS");
    if (host.release.empty())
        throw wrongUsage("--release is missing, such as 9.4");
    if (!host.servicePack.empty() && host.release.find('.') != string::npos)
        throw std::runtime_error("--release " + lint::printable(host.release) +
                                 " says the service pack: leave --service-pack out, or give the release without");
    if (host.bClustered && host.bClient)
        throw wrongUsage("there is no clustered pass for a client");
}

string readFile(const string &path) {
    std::ifstream file(path, std::ios::binary);
    string text;
    char buffer[65536];
    while (file.read(buffer, sizeof buffer) || file.gcount() > 0)
        text.append(buffer, (std::size_t)file.gcount());
    if (!file.is_open() || file.bad())
        throw std::runtime_error(path + ": cannot be read");
    return text;
}

// Whether there are findings.
bool judgeFile(const string &path, bool bUnread) {
    const string text = readFile(path);
    const std::vector<lint::finding> findings = lint::judge(text, bUnread);
    for (const lint::finding &found : findings)
        std::cout << path << ':' << found.line << ':' << found.column << ": " << (found.error ? "error: " : "warning: ")
                  << lint::printable(found.text) << " [" << lint::entryOf(found.id).name << "]\n";
    return !findings.empty();
}

ExitStatus run(const arguments &given) {
    if (given.bLevels) {
        if (!lint::listLevels(given.files.front(), std::cout))
            throw std::runtime_error(given.files.front() + ": cannot be read, or offers no level");
        return CLEAN;
    }
    if (given.bExplain) {
        if (!lint::explain(readFile(given.files.front()), given.level, given.host, std::cout))
            throw std::runtime_error(given.files.front() + ": no section of level " + given.level +
                                     " for Linux; --levels lists the levels");
        return CLEAN;
    }
    ExitStatus status = CLEAN;
    for (const string &path : given.files)
        try {
            if (judgeFile(path, given.bUnread) && status == CLEAN)
                status = FINDINGS;
        } catch (const std::runtime_error &error) {
            std::cerr << "kvxprereqlint: " << error.what() << "\n";
            status = TROUBLE;
        }
    return status;
}

} // namespace

int main(int argc, char **argv) {
    std::ios::sync_with_stdio(false);
    try {
        const arguments given = readArguments(argc, argv);
        if (given.bHelp) {
            std::cout << usage << help;
            return std::cout.flush() ? CLEAN : TROUBLE;
        }
        checkArguments(given);
        const ExitStatus status = run(given);
        if (!std::cout.flush())
            throw std::runtime_error("the output cannot be written");
        return status;
    } catch (const wrongUsage &error) {
        if (*error.what() != '\0')
            std::cerr << "kvxprereqlint: " << error.what() << "\n";
        std::cerr << usage;
    } catch (const std::exception &error) {
        std::cerr << "kvxprereqlint: " << error.what() << "\n";
    }
    return TROUBLE;
}
