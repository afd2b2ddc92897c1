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
    advice{Message::kindKernel,
           Message::adviceKernel,
           {"dnf upgrade kernel", "zypper update kernel-default", "apt-get install linux-generic"}},
    advice{Message::kindLibstdcxx,
           Message::adviceLibstdcxx,
           {"dnf install libstdc++", "zypper install libstdc++6", "apt-get install libstdc++6"}},
    advice{Message::kindGlibc,
           Message::adviceGlibc,
           {"dnf upgrade glibc", "zypper update glibc", "apt-get install libc6"}},
    advice{Message::kindLibaio,
           Message::adviceLibaio,
           {"dnf install libaio", "zypper install libaio1",
            "apt-get install libaio1t64 || apt-get install libaio1"}}, // since 24.04, before
    advice{Message::kindPam,
           Message::advicePam,
           {"dnf install pam.i686", "zypper install pam-32bit",
            "dpkg --add-architecture i386 && apt-get update && apt-get install libpam0g:i386"}},
    advice{Message::kindSelinux,
           Message::adviceSelinux,
           {"grubby --update-kernel ALL --args selinux=0",
            "sed -i 's/^SELINUX=.*/SELINUX=disabled/' /etc/selinux/config",
            "sed -i 's/^SELINUX=.*/SELINUX=disabled/' /etc/selinux/config"}},
    advice{Message::kindSpace, Message::adviceSpace, {"dnf clean all", "zypper clean --all", "apt-get clean"}},
    advice{Message::kindStrings,
           Message::adviceStrings,
           {"dnf install binutils", "zypper install binutils", "apt-get install binutils"}},
    advice{Message::kindUmask, Message::adviceUmask, {"umask 022", "umask 022", "umask 022"}},
    advice{Message::kindUser,
           Message::adviceUser,
           {"groupadd GROUP && useradd -m -g GROUP USER", "groupadd GROUP && useradd -m -g GROUP USER",
            "groupadd GROUP && useradd -m -s /bin/bash -g GROUP USER"}},
    advice{Message::kindPorts,
           Message::advicePorts,
           {"getent services PORT", "getent services PORT", "getent services PORT"}},
    advice{Message::kindPackages,
           Message::advicePackages,
           {"dnf install PACKAGE", "zypper install PACKAGE", "apt-get install PACKAGE"}},
    advice{Message::kindTime,
           Message::adviceTime,
           {"dnf install chrony && systemctl enable --now chronyd",
            "zypper install chrony && systemctl enable --now chronyd", "apt-get install chrony"}},
};
static_assert(table.size() == static_cast<size_t>(Kind::timeService) + 1, "every kind has its row");

struct messageRow {
    int message;
    Kind kind;
};

// The kind of failure that a message reports. Where packages share a message with other kinds, the words below tell
// which kind it is.
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
    messageRow{MSG_CHECK_FAILED, Kind::umask}, // only this check puts its closing line into the list of errors
    messageRow{MSG_TIME_SERVICE_MISSING, Kind::timeService},
    messageRow{MSG_REQUIRED_WITH_RELEASE, Kind::packages},
    messageRow{MSG_REQUIRED_VERSION, Kind::packages},
    messageRow{MSG_PACKAGE_NOT_INSTALLED, Kind::packages},
    messageRow{MSG_REQUIREMENT_NOT_MET, Kind::packages}, // other kinds have it below the line with the requirement
};

struct wordRow {
    std::string_view word;
    Kind kind;
};

// Names in a requirement.
constexpr std::array requirementWords{
    wordRow{"UMASK", Kind::umask},
    wordRow{"ntp", Kind::timeService},
    wordRow{"chrony", Kind::timeService},
    wordRow{"(glibc)", Kind::cLibrary},
};

// Words in texts that are in no catalog.
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

// A free port is reported in the same words as one that is taken, so a text without a number counts only if it is an
// error.
const advice *adviceOn(const check &one) {
    constexpr std::string_view error = "ERROR: ";
    if (one.result == CheckResult::passed || one.waived)
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
                if (!now.bWaived)
                    found.insert(adviceOn(now.message, now.text));
        }
    }
    found.erase(nullptr);
    return {found.begin(), found.end()}; // in the order of the table, to which they point
}

} // namespace report
