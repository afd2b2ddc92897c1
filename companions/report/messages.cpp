#include "messages.h"

#include "catalog.h"

#include <array>
#include <set>
#include <stdexcept>

namespace report {

namespace {

struct row {
    Message message;
    const char *pEnglish;
};

// Words in backticks are commands: the page sets them as code.
constexpr std::array rows{
    // How many hosts came to which result
    row{Message::oneHostCounted, "%1 host: %2 failed, %3 unknown, %4 with warnings, %5 passed"},
    row{Message::hostsCounted, "%1 hosts: %2 failed, %3 unknown, %4 with warnings, %5 passed"},
    row{Message::pageTitle, "Prerequisites: %1"},
    row{Message::pageOfOneHost, "Prerequisites of %1"},
    row{Message::pageOfHosts, "Prerequisites of %1 hosts"},
    row{Message::failedHosts, "failed"},
    row{Message::unknownHosts, "unknown"},
    row{Message::warnedHosts, "with warnings"},
    row{Message::passedHosts, "passed"},
    // Results on the page, each in a small box: of a host, of a pass, of a check
    row{Message::passed, "passed"},
    row{Message::warning, "warning"},
    row{Message::failed, "failed"},
    row{Message::unknown, "unknown"},
    row{Message::incomplete, "incomplete"},
    row{Message::error, "error"},
    row{Message::waived, "waived"},
    // Results in the table
    row{Message::tablePassed, "passed"},
    row{Message::tableWarning, "WARNING"},
    row{Message::tableFailed, "FAILED"},
    row{Message::tableUnknown, "UNKNOWN"},
    row{Message::tableError, "ERROR"},
    row{Message::cellPassed, "ok"},
    row{Message::cellWarning, "warn"},
    row{Message::cellIncomplete, "cut"},
    row{Message::cellFailed, "FAIL"},
    row{Message::tableWaived, "WAIVED"},
    // The table
    row{Message::tableHost, "HOST"},
    row{Message::tableResult, "RESULT"},
    row{Message::tableStatus, "status %1"},
    row{Message::tableClustered, "Of the two results of a level, the second is with the clustered feature."},
    row{Message::tableAdvice, "WHAT TO DO"},
    row{Message::tableStandardError, "Standard error:"},
    row{Message::tablePasses, "In %1."},
    row{Message::tableLineOfPasses, "%1: %2"},
    row{Message::tableCommon, "%1: %2 hosts, %3"},
    // The page
    row{Message::levelsHeading, "Hosts by level"},
    row{Message::levelsAbout, "The result of each host, and its result at each product level."},
    row{Message::levelsAboutClustered,
        "The result of each host, and its results at each product level, without and with the clustered feature."},
    row{Message::hostColumn, "Host"},
    row{Message::resultColumn, "Result"},
    row{Message::plainColumn, "plain"},
    row{Message::clusteredColumn, "clustered"},
    row{Message::levelColumn, "Level"},
    row{Message::timeColumn, "Time"},
    row{Message::exitStatus, "exit status %1"},
    row{Message::notChecked, "not checked"},
    row{Message::commonHeading, "On several hosts"},
    row{Message::commonHosts, "%1 hosts, %2"},
    row{Message::onHosts, "on %1 hosts"},
    row{Message::findingsHeading, "Findings"},
    row{Message::findingsCounted, "errors: %1, unknown: %2, warnings: %3, passed: %4"},
    row{Message::standardError, "Standard error:"},
    row{Message::standardErrorOf, "Standard error of %1"},
    row{Message::passedChecks, "Passed checks (%1)"},
    row{Message::passesHeading, "Passes (%1)"},
    row{Message::passesOf, "Passes of %1"},
    row{Message::passesNotShown, "Passes not shown: %1"},
    row{Message::adviceHeading, "What to do"},
    row{Message::adviceOnKind, "What to do: %1"},
    row{Message::footer, "kvxprereqreport made this page from what kvxprereqcheck reported."},
    row{Message::findingsCountedWaived, "errors: %1, unknown: %2, warnings: %3, waived: %4, passed: %5"},
    // Names, in table and page
    row{Message::passClustered, "%1 clustered"},
    row{Message::allPasses, "all passes"},
    row{Message::listed, "%1, %2"},
    row{Message::listedAndMore, "%1 and %2 more"},
    row{Message::nameRange, "%1 to %2"},
    row{Message::levelsNotShown, "Levels not shown: %1; failed or incomplete on a host: %2."},
    row{Message::notInCheck, "not in a check"},
    row{Message::umaskRequired, "Required: umask %1 or less strict"},
    row{Message::adviceAbout,
        "These commands are only shown, never run. GROUP, USER, PORT, PACKAGE and DIRECTORY are yours to fill in."},
    row{Message::waivedCounted, "Waived warnings: %1"},
    row{Message::waivedUntil, "Waived until %1: %2"},
    row{Message::waivedAlways, "Waived: %1"},
    // Notes on a host, a sentence or two each
    row{Message::unknownBecause, "Not known: %1"},
    row{Message::commandStopped, "A check may have missed something: %1"},
    row{Message::onlyStatusKnown,
        "The report names no level. Only the exit status is known: it says that no level failed."},
    row{Message::statusMeans, "Exit status %1: %2."},
    row{Message::statusAloneMeans, "Exit status %1: %2. No check shows it; see standard error."},
    row{Message::badVerdictUnconfirmed,
        "Standard error has a bad verdict. Only the exit status tells whether it means errors, and it is not "
        "known."},
    row{Message::goodVerdictUnconfirmed,
        "Standard error has a good verdict. It holds only with exit status 0, and the exit status is not known."},
    row{Message::cutBetweenLevels, "The report was cut off between two levels."},
    row{Message::notReadable,
        "There is no report, or kvxprereqcheck did not write it, or the catalog of its language is missing here."},
    row{Message::beginningCut, "The beginning of a part of the report was cut off."},
    row{Message::noVerdict, "Level %1 has no verdict: the report was cut off there."},
    row{Message::noVerdictClustered,
        "Level %1 with the clustered feature has no verdict: the report was cut off there."},
    row{Message::notWhole, "The report on level %1 is not complete."},
    row{Message::notWholeClustered, "The report on level %1 with the clustered feature is not complete."},
    row{Message::moreDoubts, "More passes like these: %1."},
    row{Message::notAllDone, "Something was not checked or not written: %1"},
    row{Message::noLevel, "No level was checked."},
    row{Message::noReport, "There is no report."},
    // What an exit status means: each completes statusMeans
    row{Message::statusKernel, "the kernel level is too low or cannot be read"},
    row{Message::statusNotStarted, "the program could not be started"},
    row{Message::statusTools, "a tool or library is missing or too old, or SELinux is not disabled"},
    row{Message::statusCommandLine, "the command line is wrong"},
    row{Message::statusLevel, "-v has no level, or one that is not in the file or not for this host"},
    row{Message::statusFile, "no usable prerequisites file, or the distribution is not supported"},
    row{Message::statusOutput, "-o or -gui has no usable file name"},
    row{Message::statusMemory, "memory is exhausted"},
    row{Message::statusNetwork, "a package of a high-speed network is missing"},
    row{Message::statusTimedOut, "the time limit of timeout(1) had passed"},
    row{Message::statusNotFound, "the program was not found"},
    row{Message::statusSpace, "free space is too small, or a check of -vastdw failed"},
    row{Message::statusForeign, "kvxprereqcheck has no such exit status"},
    row{Message::signalEnded, "signal %1 ended the program"},
    row{Message::signalNamedEnded, "signal %1, %2, ended the program"},
    row{Message::signalExplained, "signal %1, %2, ended the program: %3"},
    row{Message::hungUp, "its terminal or connection was closed"},
    row{Message::interrupted, "somebody interrupted it"},
    row{Message::killed, "somebody killed it, or the kernel did because memory ran out"},
    row{Message::pipeClosed, "nobody read its output any more"},
    row{Message::terminated, "somebody ended it"},
    // Kinds of failures, and what to do about each
    row{Message::kindKernel, "kernel level"},
    row{Message::adviceKernel,
        "Install the newest kernel of the release and restart the host: the running kernel counts (`uname -r`). "
        "If the release has no kernel of the required level, move to a newer release. In a container, upgrade the "
        "host's kernel."},
    row{Message::kindLibstdcxx, "C++ runtime library (libstdc++)"},
    row{Message::adviceLibstdcxx,
        "Update the C++ runtime library. If the newest package of the release does not have the symbol version, "
        "the release is too old for this level: move to a newer one. Do not replace the system's own "
        "libstdc++.so.6 with a file from elsewhere."},
    row{Message::kindGlibc, "C library (glibc)"},
    row{Message::adviceGlibc,
        "The C library belongs to the release of the distribution. Install its updates. If the level is still too "
        "low, move to a newer release."},
    row{Message::kindLibaio, "asynchronous I/O library (libaio)"},
    row{Message::adviceLibaio,
        "Install the package that has libaio.so.1. It is libaio1 on Ubuntu before 24.04. Ubuntu 24.04 and later "
        "have libaio1t64 in its place. Its file is libaio.so.1t64, so a program that asks for libaio.so.1 does "
        "not find it. On 64-bit hosts it is the same library. If the product allows it, give it the other name "
        "with a link: `ln -s libaio.so.1t64 /usr/lib/x86_64-linux-gnu/libaio.so.1`"},
    row{Message::kindPam, "32-bit PAM library"},
    row{Message::advicePam,
        "This is a warning. Install the library if 32-bit programs of the product are used. RHEL 10 has no 32-bit "
        "packages. On Ubuntu the library goes to /lib/i386-linux-gnu, where the check does not look: the warning "
        "stays and can be ignored."},
    row{Message::kindSelinux, "SELinux"},
    row{Message::adviceSelinux,
        "Only the clustered feature needs this. To check without it, run kvxprereqcheck with `-i`. To disable "
        "SELinux, change the setting and restart the host. This weakens the protection of the host."},
    row{Message::kindSpace, "free space"},
    row{Message::adviceSpace,
        "Free some space in the file system of the directory that the line names, or enlarge the file system; `df "
        "-h DIRECTORY` shows it. Package caches in /var can be deleted. KVXTMPDIR can name another temporary "
        "directory."},
    row{Message::kindStrings, "strings"},
    row{Message::adviceStrings,
        "The tool `strings` is missing, so libraries cannot be examined. Install the GNU binary utilities."},
    row{Message::kindUmask, "umask"},
    row{Message::adviceUmask,
        "The program has the umask of the shell that starts it. Set `umask 022` in that shell and check again. To "
        "keep it, put the command into a file in /etc/profile.d; it then applies to all users."},
    row{Message::kindUser, "instance user"},
    row{Message::adviceUser,
        "Names of the user and of the primary group have at most 8 characters. The primary group must not be "
        "guests, users, admins or local: `usermod -g GROUP USER` changes it. Missing start-up files are in "
        "/etc/skel. On Ubuntu .bash_profile is not there: write one that reads .profile. With `-sqllib`, the home "
        "directory must have nothing named sqllib."},
    row{Message::kindPorts, "ports"},
    row{Message::advicePorts,
        "In /etc/services a port and its name must both be free, or be on one line together. Find out who has the "
        "port, then choose another port or another name. A line that no program uses can be removed."},
    row{Message::kindPackages, "packages"},
    row{Message::advicePackages,
        "Install or update the package that the line names. On Ubuntu the check asks the rpm database, which "
        "knows no package there: the warning stays and can be ignored if the command is there."},
    row{Message::kindTime, "time service"},
    row{Message::adviceTime,
        "Install a time service and start it. On Ubuntu the check asks the rpm database, which knows no package "
        "there: the warning stays and can be ignored once the service runs."},
    // Changes since an earlier run
    row{Message::changesHeading, "What changed since %1"},
    row{Message::nothingChanged, "Nothing has changed."},
    row{Message::changesCounted,
        "Hosts that got worse: %1, with worse checks: %7, unknown now: %2, new: %3, gone: %4, better: %5, with other "
        "changes only: %6"},
    row{Message::resultChanged, "%1, now %2"},
    row{Message::resultNow, "now %1"},
    row{Message::resultBefore, "was %1"},
    row{Message::resultSame, "%1 as before"},
    row{Message::wholePass, "whole pass"},
    row{Message::changedCheck, "%1: %2"},
    row{Message::valueBefore, "Before: %1"},
    row{Message::valueNow, "Now: %1"},
    row{Message::changeWorse, "worse"},
    row{Message::changeCame, "new"},
    row{Message::changeWent, "gone"},
    row{Message::changeBetter, "better"},
    row{Message::changeValue, "changed"},
    row{Message::changeSame, "as before"},
    row{Message::tableWorse, "WORSE"},
    row{Message::tableCame, "NEW"},
    row{Message::tableWent, "GONE"},
    row{Message::tableBetter, "better"},
    row{Message::tableChanged, "changed"},
    row{Message::tableSame, "same"},
};

constexpr bool isInOrder() {
    for (size_t i = 1; i < rows.size(); i++)
        if (rows[i - 1].message >= rows[i].message)
            return false;
    return true;
}
static_assert(isInOrder(), "a message stands twice, or behind one with a greater number");

size_t numberOf(Message one) {
    return static_cast<size_t>(one);
}

} // namespace

messages::messages() : texts(numberOf(rows.back().message) + 1) {
    for (const row &one : rows)
        texts[numberOf(one.message)] = one.pEnglish;
}

// The placeholders of a text: %1 to %9.
static std::set<char> placeholdersOf(const std::string &text) {
    std::set<char> found;
    for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%', at + 1))
        found.insert(text[at + 1]); // a zero at the end of the text
    return found;
}

messages::messages(const std::string &tag, const std::string &catalog, const encoder &shownIn) : messages() {
    const codeSet utf8("utf8");
    std::map<int, std::string> translated;
    try {
        translated =
            readCatalog(catalog, static_cast<int>(rows.front().message), static_cast<int>(rows.back().message));
    } catch (const std::runtime_error &) {
        return;
    }
    for (const auto &[number, text] : translated) {
        std::string &own = texts[static_cast<size_t>(number)];
        if (placeholdersOf(text) == placeholdersOf(own) && utf8.holds(text) && shownIn.holds(text)) {
            own = text;
            ownTag = tag;
        }
    }
}

std::string messages::text(Message one, const std::vector<std::string> &tokens) const {
    const std::string &pattern = texts[numberOf(one)];
    std::string result;
    for (size_t at = 0; at < pattern.size(); at++) {
        const char next = pattern[at] == '%' ? pattern[at + 1] : '\0'; // a zero at the end of the text
        if (next < '1' || next > '9') {
            result += pattern[at];
            continue;
        }
        result += tokens.at(static_cast<size_t>(next - '1'));
        at++;
    }
    return result;
}

const messages &english() {
    static const messages own;
    return own;
}

} // namespace report
