#include "advice.h"

#include "sqloPrereqCheck.h"

#include <algorithm>
#include <set>

namespace report {

namespace {

enum class Kind {
    kernel,
    symbolVersion,
    cLibrary,
    libaio,
    pam,
    selinux,
    space,
    strings,
    umask,
    user,
    ports,
    packages,
    timeService,
};

// In the order of the kinds.
constexpr std::array table{
    advice{
        "kernel level",
        "Install the newest kernel of the release and restart the host: the running kernel counts (uname -r). If the "
        "release has no kernel of the required level, move to a newer release. A container has the kernel of its host.",
        {"dnf upgrade kernel", "zypper update kernel-default", "apt-get install linux-generic"}},
    advice{
        "C++ symbol version",
        "Update the C++ runtime. If the newest package of the release does not have the symbol version, the release is "
        "too old for this level: move to a newer one. Do not put a libstdc++.so.6 from elsewhere in the place of the "
        "system's own.",
        {"dnf install libstdc++", "zypper install libstdc++6", "apt-get install libstdc++6"}},
    advice{
        "C library",
        "The C library belongs to the release of the distribution. Install its updates; if the level is still too low, "
        "move to a newer release.",
        {"dnf upgrade glibc", "zypper update glibc", "apt-get install libc6"}},
    advice{
        "asynchronous I/O library (libaio)",
        "Install the package with libaio.so.1. Ubuntu 24.04 and later have no libaio1: their libaio1t64 has the file "
        "libaio.so.1t64, which a program that asks for libaio.so.1 does not find. On 64-bit hosts it is the same "
        "library. If the product allows it, give it the other name with a link: ln -s libaio.so.1t64 "
        "/usr/lib/x86_64-linux-gnu/libaio.so.1",
        {"dnf install libaio", "zypper install libaio1", "apt-get install libaio1"}},
    advice{
        "32-bit PAM library",
        "This is a warning. Install the library if 32-bit programs of the product are used. RHEL 10 has no 32-bit "
        "packages. On Ubuntu the library goes to /lib/i386-linux-gnu, where the check does not look: the warning stays "
        "and can be ignored.",
        {"dnf install pam.i686", "zypper install pam-32bit",
         "dpkg --add-architecture i386 && apt-get update && apt-get install libpam0g:i386"}},
    advice{
        "SELinux",
        "Only the clustered feature needs this: to check without it, run kvxprereqcheck with -i. To disable SELinux, "
        "change the setting and restart the host. The host is less protected then.",
        {"grubby --update-kernel ALL --args selinux=0", "sed -i 's/^SELINUX=.*/SELINUX=disabled/' /etc/selinux/config",
         "sed -i 's/^SELINUX=.*/SELINUX=disabled/' /etc/selinux/config"}},
    advice{
        "free space",
        "Make space in the file system of the directory that the line names, or enlarge it; df -h DIRECTORY shows it. "
        "Package caches in /var can go. For the temporary directory another one can be named in KVXTMPDIR.",
        {"dnf clean all", "zypper clean --all", "apt-get clean"}},
    advice{"strings",
           "The tool strings is missing, so libraries cannot be examined. Install the GNU binary utilities.",
           {"dnf install binutils", "zypper install binutils", "apt-get install binutils"}},
    advice{
        "umask",
        "The program has the umask of the shell that starts it. Set one there that takes away no more than is allowed, "
        "and check again. To keep it for the instance, put the command into a file of /etc/profile.d.",
        {"umask 022", "umask 022", "umask 022"}},
    advice{"instance user",
           "Names of the user and of the primary group have at most 8 characters. The group is none of guests, users, "
           "admins and local: usermod -g GROUP USER changes it. Start-up files that are missing are in /etc/skel; on "
           "Ubuntu .bash_profile is not: write one that reads .profile. With -sqllib there must be no sqllib in the "
           "home directory.",
           {"groupadd GROUP && useradd -m -g GROUP USER", "groupadd GROUP && useradd -m -g GROUP USER",
            "groupadd GROUP && useradd -m -s /bin/bash -g GROUP USER"}},
    advice{
        "ports",
        "In /etc/services a port and its name must both be free, or stand on one line together. Look who has the port, "
        "then choose another port or another name. A line that no program uses can be removed.",
        {"getent services PORT", "getent services PORT", "getent services PORT"}},
    advice{
        "packages",
        "Install or update the package that the line names. On Ubuntu the check asks the rpm database, which knows no "
        "package there: the warning stays and can be ignored if the command is there.",
        {"dnf install PACKAGE", "zypper install PACKAGE", "apt-get install PACKAGE"}},
    advice{
        "time service",
        "Install a time service and start it. On Ubuntu the check asks the rpm database, which knows no package there: "
        "the warning stays and can be ignored once the service runs.",
        {"dnf install chrony && systemctl enable --now chronyd",
         "zypper install chrony && systemctl enable --now chronyd", "apt-get install chrony"}},
};
static_assert(table.size() == static_cast<size_t>(Kind::timeService) + 1, "every kind has its row");

struct messageRow {
    int message;
    Kind kind;
};

// A message that several kinds share stands once for each, with the word that tells them apart below.
constexpr std::array messageRows{
    messageRow{MSG_KERNEL_REQUIRED, Kind::kernel},
    messageRow{MSG_KERNEL_LEVEL_MALFORMED, Kind::kernel},
    messageRow{MSG_LIBSTDCXX_REQUIRED, Kind::symbolVersion},
    messageRow{MSG_GLIBC_REQUIRED, Kind::cLibrary},
    messageRow{MSG_LIBAIO_MISSING, Kind::libaio},
    messageRow{MSG_LIBPAM_32BIT_MISSING, Kind::pam},
    messageRow{MSG_SELINUX_ENABLED, Kind::selinux},
    messageRow{MSG_FREE_SPACE_SHORT, Kind::space},
    messageRow{MSG_FREE_SPACE_LOW, Kind::space},
    messageRow{MSG_CHECK_FAILED, Kind::umask}, // its closing line is its entry
    messageRow{MSG_TIME_SERVICE_MISSING, Kind::timeService},
    messageRow{MSG_REQUIRED_WITH_RELEASE, Kind::packages},
    messageRow{MSG_REQUIRED_VERSION, Kind::packages},
    messageRow{MSG_PACKAGE_NOT_INSTALLED, Kind::packages},
};

struct wordRow {
    std::string_view word;
    Kind kind;
};

// Of a package or a mask that a requirement names.
constexpr std::array requirementWords{
    wordRow{"UMASK", Kind::umask},
    wordRow{"ntp", Kind::timeService},
    wordRow{"chrony", Kind::timeService},
};

// Of texts that come from no catalog.
constexpr std::array literalWords{
    wordRow{"The 'strings' utility", Kind::strings},
    wordRow{"The user name \"", Kind::user},
    wordRow{"Primary Group Name \"", Kind::user},
    wordRow{"as the primary group", Kind::user},
    wordRow{"the user entry", Kind::user},
    wordRow{"UNIX Pseudo user", Kind::user},
    wordRow{"user home directory", Kind::user},
    wordRow{" Number - ", Kind::ports},
    wordRow{"There already exists a service", Kind::ports},
};

const advice *rowOf(Kind kind) {
    return &table[static_cast<size_t>(kind)];
}

template <size_t N> const advice *find(const std::array<wordRow, N> &rows, std::string_view text) {
    for (const wordRow &row : rows)
        if (text.find(row.word) != std::string_view::npos)
            return rowOf(row.kind);
    return nullptr;
}

} // namespace

const advice *adviceOn(int message, std::string_view text) {
    if (message == 0)
        return find(literalWords, text);
    for (const messageRow &row : messageRows) {
        if (row.message != message)
            continue;
        const advice *const pNamed = row.kind == Kind::packages ? find(requirementWords, text) : nullptr;
        return pNamed == nullptr ? rowOf(row.kind) : pNamed;
    }
    return nullptr;
}

// A line of a port that is free says as much as one that is not; only errors ask for something.
const advice *adviceOn(const check &one) {
    constexpr std::string_view error = "ERROR: ";
    if (one.result == CheckResult::passed)
        return nullptr;
    for (const line &now : one.lines)
        if (now.message != 0 || now.text.compare(0, error.size(), error) == 0)
            if (const advice *const pFound = adviceOn(now.message, now.text))
                return pFound;
    return nullptr;
}

std::vector<const advice *> adviceOn(const std::vector<host> &hosts) {
    std::set<const advice *> found;
    for (const host &one : hosts) {
        for (const std::string &text : one.errors)
            found.insert(adviceOn(0, text));
        for (const pass &in : one.passes) {
            for (const check &now : in.checks)
                found.insert(adviceOn(now));
            for (const entry &now : in.entries)
                found.insert(adviceOn(now.message, now.text));
        }
    }
    found.erase(nullptr);
    return {found.begin(), found.end()}; // the addresses are those of the table
}

} // namespace report
