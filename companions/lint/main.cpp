// kvxprereqlint: judges prerequisites files, and explains them for a host that need not exist.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <getopt.h>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <vector>

#include "../common/files.h"
#include "explain.h"
#include "lint.h"
#include "output.h"

namespace {

using std::string;

enum ExitStatus { exitClean = 0, exitFindings = 1, exitTrouble = 2 };

const char *const pUsage =
    "Usage: kvxprereqlint [--exclude=RULE,...] [--fail-on=SEVERITY] [--format=FORM] [--unread] FILE...\n"
    "       kvxprereqlint --levels FILE\n"
    "       kvxprereqlint --explain LEVEL --distribution NAME --release VERSION [--service-pack N]\n"
    "                     [--kernel VERSION] [--clustered] [--client] [--format=FORM] FILE\n"
    "       kvxprereqlint --list-rules\n"
    "\n"
    "Finds lines of a prerequisites file that kvxprereqcheck does not read as they look. FILE - is standard input.\n"
    "\n"
    "  --exclude RULE,...   leave out the findings of these rules\n"
    "  --fail-on SEVERITY   error or warning (default): the lowest severity that makes the exit status 1\n"
    "  --format FORM        gcc (default), json, sarif or github; with --explain text (default) or json\n"
    "  --unread             also report elements that no check reads\n"
    "  --list-rules         list the rules, each with its severity\n"
    "  --levels             list the levels, the newest first\n"
    "  --explain LEVEL      show what the level requires of a host, which need not exist:\n"
    "  --distribution NAME  RHEL, SUSE, UBUNTU, INSPUR or CENTOS\n"
    "  --release VERSION    its release, such as 9.4\n"
    "  --service-pack N     its service pack, where the release does not hold it\n"
    "  --kernel VERSION     its kernel, such as 5.14.0; without it conditions on the kernel hold\n"
    "  --clustered          show the clustered pass\n"
    "  --client             show the checks of a client\n"
    "  -h, --help           print this text and exit\n"
    "  --version            print the version and exit\n"
    "\n"
    "Exit status: 0 no findings, 1 findings, 2 a file cannot be read or the options are wrong.\n";

// A mistake on the command line. The answer points to --help.
struct usageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct arguments {
    const char *pInformation = nullptr; // to be printed, and nothing else
    bool bListRules = false, bLevels = false, bExplain = false;
    bool bHostOption = false;  // one that describes a host was given
    bool bJudgeOption = false; // one that only judging reads was given
    lint::judgeOptions judging;
    lint::Severity failOn = lint::Severity::warning;
    string form, level;
    lint::describedHost host;
    std::vector<string> files;
};

/* --- Texts that describe a host --- */

constexpr char digits[] = "0123456789";

// A release is free text of a release file, so only its first character is checked.
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

// Returns an option's text, or throws what the option takes.
string checked(const char *pText, bool (*isFit)(const string &), const char *pWanted) {
    if (!isFit(pText))
        throw std::runtime_error(string(pWanted) + ", not \"" + lint::printable(pText) + "\"");
    return pText;
}

/* --- Arguments --- */

lint::ruleSet rulesNamed(const string &names) {
    lint::ruleSet rules;
    std::size_t begin = 0;
    while (begin <= names.size()) {
        const std::size_t end = std::min(names.find(',', begin), names.size());
        const string name = names.substr(begin, end - begin);
        const lint::Rule id = lint::ruleOf(name);
        if (id == lint::Rule::count)
            throw std::runtime_error("there is no rule \"" + lint::printable(name) + "\"; --list-rules names them");
        rules.set(static_cast<std::size_t>(id));
        begin = end + 1;
    }
    return rules;
}

lint::Severity severityNamed(const string &name) {
    for (const lint::Severity severity : {lint::Severity::error, lint::Severity::warning})
        if (name == lint::nameOf(severity))
            return severity;
    throw usageError("--fail-on is error or warning");
}

enum Option {
    UNREAD = 1,
    EXCLUDE,
    FAIL_ON,
    LIST_RULES,
    FORMAT,
    LEVELS,
    EXPLAIN,
    DISTRIBUTION,
    RELEASE,
    SERVICE_PACK,
    KERNEL,
    CLUSTERED,
    CLIENT,
    VERSION,
    HELP = 'h',
};

void takeOption(int found, const char *pText, arguments &given) {
    switch (found) {
    case UNREAD: given.judging.bUnread = true; break;
    case EXCLUDE: given.judging.excluded |= rulesNamed(pText); break;
    case FAIL_ON: given.failOn = severityNamed(pText); break;
    case LIST_RULES: given.bListRules = true; break;
    case FORMAT: given.form = pText; break;
    case LEVELS: given.bLevels = true; break;
    case EXPLAIN:
        given.bExplain = true;
        given.level = pText;
        break;
    case DISTRIBUTION: given.host.distribution = pText; break;
    case RELEASE: given.host.release = checked(pText, isRelease, "--release begins with a digit, such as 9.4"); break;
    case SERVICE_PACK:
        given.host.servicePack = checked(pText, isServicePack, "--service-pack is a whole number, such as 4");
        break;
    case KERNEL:
        given.host.kernel = checked(pText, isKernel,
                                    "--kernel is three numbers, such as 5.14.0 (a kernel with fewer fails the "
                                    "kernel level check)");
        break;
    case CLUSTERED: given.host.bClustered = true; break;
    case CLIENT: given.host.bClient = true; break;
    case HELP: given.pInformation = pUsage; break;
    case VERSION: given.pInformation = "kvxprereqlint " KVX_VERSION "\n"; break;
    default: throw usageError("");
    }
}

// Only /etc/SuSE-release gives the service pack apart from the release; SUSE 15 does not have it.
constexpr long FIRST_WITHOUT_SUSE_RELEASE = 15;

void checkHost(const lint::describedHost &host) {
    if (host.distribution.empty())
        throw usageError("--distribution is missing, such as RHEL");
    if (!lint::isKnownDistribution(host.distribution))
        throw usageError("--distribution is RHEL, SUSE, UBUNTU, INSPUR or CENTOS");
    if (host.release.empty())
        throw usageError("--release is missing, such as 9.4");
    const string release = lint::printable(host.release);
    if (!host.servicePack.empty() && host.release.find('.') != string::npos)
        throw std::runtime_error(
            "--release " + release +
            " holds the service pack: leave out --service-pack, or give the release without a point");
    if (!host.servicePack.empty() && host.distribution == "SUSE" &&
        std::strtol(host.release.c_str(), nullptr, 10) >= FIRST_WITHOUT_SUSE_RELEASE)
        throw std::runtime_error("SUSE " + release + " has its service pack in its release: give --release " + release +
                                 "." + host.servicePack + " without --service-pack");
    if (host.bClustered && host.bClient)
        throw usageError("--clustered does not go with --client: a client has no clustered pass");
}

void checkArguments(const arguments &given) {
    if (given.bLevels + given.bExplain + given.bListRules + given.bJudgeOption > 1)
        throw usageError("--levels, --explain, --list-rules and the options for judging exclude each other");
    if (given.bListRules != given.files.empty())
        throw usageError(given.bListRules ? "--list-rules takes no file" : "no file is given");
    if ((given.bLevels || given.bExplain) && given.files.size() > 1)
        throw usageError("--levels and --explain take one file");
    if (given.bHostOption && !given.bExplain)
        throw usageError("options that describe a host go with --explain only");
    if (given.bExplain)
        checkHost(given.host);
    if (given.form.empty())
        return;
    if (given.bLevels || given.bListRules)
        throw usageError("--format does not go with --levels or --list-rules");
    if (given.bExplain && given.form != "text" && given.form != "json")
        throw usageError("--format is text or json with --explain");
}

arguments readArguments(int argc, char **argv) {
    static constexpr option options[] = {
        {"unread", no_argument, nullptr, UNREAD},         {"exclude", required_argument, nullptr, EXCLUDE},
        {"fail-on", required_argument, nullptr, FAIL_ON}, {"list-rules", no_argument, nullptr, LIST_RULES},
        {"format", required_argument, nullptr, FORMAT},   {"levels", no_argument, nullptr, LEVELS},
        {"explain", required_argument, nullptr, EXPLAIN}, {"distribution", required_argument, nullptr, DISTRIBUTION},
        {"release", required_argument, nullptr, RELEASE}, {"service-pack", required_argument, nullptr, SERVICE_PACK},
        {"kernel", required_argument, nullptr, KERNEL},   {"clustered", no_argument, nullptr, CLUSTERED},
        {"client", no_argument, nullptr, CLIENT},         {"help", no_argument, nullptr, HELP},
        {"version", no_argument, nullptr, VERSION},       {nullptr, 0, nullptr, 0},
    };
    arguments given;
    for (int found; (found = getopt_long(argc, argv, "h", options, nullptr)) != -1;) {
        given.bHostOption = given.bHostOption || (found >= DISTRIBUTION && found <= CLIENT);
        given.bJudgeOption = given.bJudgeOption || (found >= UNREAD && found <= FAIL_ON);
        takeOption(found, optarg, given);
    }
    given.files.assign(argv + optind, argv + argc);
    if (given.pInformation == nullptr)
        checkArguments(given);
    return given;
}

/* --- Linting, listing, explaining --- */

void judgeFile(const string &path, const arguments &given, lint::writer &out, lint::findingCounts &counts) {
    const string text = common::readFile(path);
    const lint::judgement judged = lint::judge(text, given.judging);
    counts.files++;
    counts.suppressed += judged.suppressed;
    for (const lint::finding &found : judged.findings.all)
        counts.bySeverity[static_cast<std::size_t>(lint::entryOf(found.id).severity)]++;
    out.add(path == common::standardInput ? "<stdin>" : path, text, judged.findings);
}

ExitStatus judgeFiles(const arguments &given) {
    const std::unique_ptr<lint::writer> out = lint::makeWriter(given.form.empty() ? "gcc" : given.form, std::cout);
    if (out == nullptr)
        throw usageError("--format is gcc, json, sarif or github");
    lint::findingCounts counts;
    bool bTrouble = false;
    for (const string &path : given.files)
        try {
            judgeFile(path, given, *out, counts);
        } catch (const std::runtime_error &error) {
            std::cerr << "kvxprereqlint: " << error.what() << '\n';
            bTrouble = true;
        }
    out->finish(counts);
    std::cerr << "kvxprereqlint: " << counts.files << (counts.files == 1 ? " file: " : " files: ")
              << lint::countsInWords(counts) << '\n';
    const bool bFails = counts.of(lint::Severity::error) > 0 ||
                        (given.failOn == lint::Severity::warning && counts.of(lint::Severity::warning) > 0);
    return bTrouble ? exitTrouble : bFails ? exitFindings : exitClean;
}

void listRules() {
    for (std::size_t id = 0; id < lint::RULES; id++) {
        const lint::ruleEntry &rule = lint::entryOf(static_cast<lint::Rule>(id));
        char line[128];
        std::snprintf(line, sizeof line, "%-20s%-9s", string(rule.name).c_str(), string(nameOf(rule.severity)).c_str());
        std::cout << line << rule.summary << '\n';
    }
}

ExitStatus print(const char *pText) {
    std::cout << pText;
    return exitClean;
}

ExitStatus run(const arguments &given) {
    if (given.bListRules) {
        listRules();
        return exitClean;
    }
    if (!given.bLevels && !given.bExplain)
        return judgeFiles(given);
    const string text = common::readFile(given.files.front());
    const std::vector<string> levels = lint::levelsOf(text);
    if (levels.empty())
        throw std::runtime_error(given.files.front() + ": offers no level");
    if (given.bLevels)
        for (const string &level : levels)
            std::cout << lint::printable(level) << '\n';
    else {
        const lint::explanation explained = lint::explain(text, levels, given.level, given.host);
        (given.form == "json" ? lint::printJson : lint::printText)(explained, std::cout);
    }
    return exitClean;
}

} // namespace

int main(int argc, char **argv) {
    std::ios::sync_with_stdio(false);
    try {
        const arguments given = readArguments(argc, argv);
        const ExitStatus status = given.pInformation != nullptr ? print(given.pInformation) : run(given);
        if (!std::cout.flush())
            throw common::fileError("standard output");
        return status;
    } catch (const usageError &error) {
        if (*error.what() != '\0')
            std::cerr << "kvxprereqlint: " << error.what() << '\n';
        std::cerr << "Try kvxprereqlint --help\n";
    } catch (const std::exception &error) {
        std::cerr << "kvxprereqlint: " << error.what() << '\n';
    }
    return exitTrouble;
}
