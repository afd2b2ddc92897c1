// Shared by the tests: hosts, captured output, catalogs, and the shell commands that cases call.
#include "support.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sys/mman.h>
#include <sys/mount.h>
#include <unistd.h>

namespace fs = std::filesystem;

scratchDirectory::scratchDirectory() : path("/tmp/kvx-test.XXXXXX") {
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("no scratch directory");
}

scratchDirectory::~scratchDirectory() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

// Returns the number of failures of the current test in this process.
static int failureCount() {
    const testing::TestResult *pResult = testing::UnitTest::GetInstance()->current_test_info()->result();
    int count = 0;
    for (int i = 0; i < pResult->total_part_count(); i++)
        count += pResult->GetTestPartResult(i).failed();
    return count;
}

void onHost(const privateHost &host, const std::function<void()> &body) {
    string why;
    if (!privateHostsPermitted(why)) {
        ASSERT_EQ(getenv("CI"), nullptr) << "no private host: " << why;
        GTEST_SKIP() << "no private host: " << why;
    }
    privateHost seen = host;
    seen.binds.push_back(KVX_PROGRAM_DIR);
    const int before = failureCount(); // the child inherits them
    const auto failsInHost = [&] {
        body();
        return failureCount() > before ? 1 : 0;
    };
    EXPECT_EQ(runOnHost(seen, failsInHost), 0) << "in the host";
}

void showOwnFiles() {
    const string maps = "/proc/" + std::to_string(getpid()) + "/maps";
    const string text = readFile(maps);
    std::smatch library;
    if (!std::regex_search(text, library, std::regex(" (/\\S+?)(/(usr/)?lib\\S*/libc\\.so\\.6)\n")))
        return; // the paths have no prefix
    writeFile("/run/maps", replaced(text, {{" " + library.str(1) + "/", " /"}}));
    ASSERT_EQ(mount("/run/maps", maps.c_str(), nullptr, MS_BIND, nullptr), 0);
}

static string captureStream(int stream, const std::function<void()> &body) {
    const int caught = memfd_create("caught", MFD_CLOEXEC);
    const int original = dup(stream);
    fflush(nullptr);
    dup2(caught, stream);
    body();
    fflush(nullptr);
    dup2(original, stream);
    const string text = readFile("/proc/self/fd/" + std::to_string(caught));
    close(caught);
    close(original);
    return text;
}

printed capture(const std::function<void()> &body) {
    printed got;
    got.out = captureStream(STDOUT_FILENO, [&] { got.err = captureStream(STDERR_FILENO, body); });
    return got;
}

string readFile(const string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const string &path, const string &text) {
    std::error_code ignored; // the file that then cannot be written tells
    fs::create_directories(fs::path(path).parent_path(), ignored);
    std::ofstream out(path, std::ios::binary);
    out << text << std::flush;
    ASSERT_TRUE(out.good()) << path;
}

string replaced(string text, const fileList &rules) {
    for (const auto &[pattern, replacement] : rules)
        text = std::regex_replace(text, std::regex(pattern), replacement);
    return text;
}

void useCatalog() {
    setText(szRuntimePath, KVX_PROGRAM_DIR);
    setText(szLocale, "en_US");
}

const string &namedTextsDirectory() {
    static const scratchDirectory directory;
    return directory.path;
}

void useTexts(const std::map<int, string> &texts) {
    const string &path = namedTextsDirectory();
    string source = "$ codeset=ISO-8859-1\n$set 1\n$quote \"\n"; // in which all bytes are characters
    for (const auto &[number, text] : texts) {
        source += std::to_string(number) + " \"";
        source += replaced(text, {{"([\"\\\\])", "\\$1"}, {"\n", "\\n"}});
        source += "\"\n";
    }
    const string catalog = path + "/locale/en_US.iso88591/kvxistring.cat";
    writeFile(path + "/texts", source);
    writeFile(catalog, "");
    fs::remove(catalog); // gencat adds to a catalog that is there
    ASSERT_EQ(system(("gencat " + catalog + " " + path + "/texts").c_str()), 0);
    if (!fs::exists(path + "/kvxprereqcheck"))
        fs::create_symlink(KVX_PROGRAM_DIR "/kvxprereqcheck", path + "/kvxprereqcheck");
    setText(szRuntimePath, path);
    setText(szLocale, "en_US");
}

void useNamedTexts(bool bMachine) {
    std::map<int, string> texts;
    const string header = readFile(KVX_SOURCE_DIR "/engn/include/sqloPrereqCheck.h");
    const std::regex member("MSG_(\\w+) = (\\d+),");
    const std::regex local("KERNEL_FOUND|\\w+_LOCATED|LOADER_ERROR|LEVEL_BANNER.*");
    for (std::sregex_iterator it(header.begin(), header.end(), member), end; it != end; ++it) {
        const string name = (*it)[1];
        texts[std::stoi((*it)[2])] = bMachine && std::regex_match(name, local) ? "=" : name + " %1 %2 %3 %4";
    }
    useTexts(texts);
}

string message(int number, const std::vector<string> &tokens) {
    char szText[1024];
    for (const string &token : tokens)
        addToken(token.c_str());
    return sqloGetString(number, szText, sizeof szText);
}

void setValue(Tag tag, const string &text) {
    ppszPREREQ[tag] = strdup(text.c_str());
}

std::vector<string> errorEntries() {
    std::vector<string> entries;
    for (const errorMsg *pError = pErrorList; pError != nullptr; pError = pError->next)
        entries.emplace_back(pError->szMessage, strnlen(pError->szMessage, sizeof pError->szMessage));
    return entries;
}

const string startHosts = R"sh(key=/root/.ssh/id_ed25519; rm -rf /root/.ssh
mkdir -p /run/sshd /root/.ssh; ssh-keygen -q -t ed25519 -N '' -f $key; usermod -p '*' root
printf '%s\n' 'ControlMaster auto' 'ControlPath /run/shared-%h' 'ControlPersist 20' 'UserKnownHostsFile /dev/null' \
    'LogLevel ERROR' 'StrictHostKeyChecking no' >/root/.ssh/config
printf '%s\n' "HostKey $key" "AuthorizedKeysFile $key.pub" 'Subsystem sftp internal-sftp' >/sshd
printf '127.0.0.%s\n' '2 alpha here' '3 beta.dom' '4 gamma' '9 delta' >/etc/hosts
for host in alpha beta.dom gamma; do
    options="-D -f /sshd -o ListenAddress=$host -o PidFile=/run/$host.pid"
    [ $host != gamma ] || options="$options -o AuthorizedKeysFile=none"
    timeout 100 unshare -m -u sh -c "hostname $host; mount -t tmpfs tmpfs /tmp; exec /usr/sbin/sshd $options" >&- 2>&- &
    timeout 10 sh -c "until [ -s /run/$host.pid ]; do sleep 0.01; done" || exit
done
)sh";
const string stopHosts =
    R"sh(cat /log /var/kvx/kvxssh/.remote_shell_cmd 2>/dev/null; for host in alpha beta.dom gamma; do
    echo "left on $host: $(ls -A /proc/$(cat /run/$host.pid)/root/tmp)"
    ssh -O exit $host 2>/dev/null; kill $(cat /run/$host.pid)
done)sh";

const string prelude = R"sh(mkdir -p /fakes; samples=)sh" KVX_SOURCE_DIR R"sh(/samples; program=)sh" KVX_PROGRAM_DIR
                       R"sh(
put() { case $1 in /*/* | [!/]*/*) mkdir -p "${1%/*}" ;; esac; printf "$2" >"$1"; }
script() { put "$1" ''; printf '%s\n' '#!/bin/sh' "$2" >"$1"; chmod +x "$1"; }
fake() { case $1 in /*) script "$1" "$2" ;; *) script "/fakes/$1" "$2" ;; esac; }
logged() { fake "$1" "echo ${1##*/} \"\$*\" >>/fakes/log; $2"; }
own_network() { :; }
rpm_database() { :; }
example_host() {
    cp -R $samples/hosts/$1/. /
    fake ldd
    fake file 'echo ELF 32-bit'
    fake /usr/sbin/getenforce 'echo Disabled'
    cd /
}
level() { printf '<KVXLevel value="%s">\n<platform value="Linux">\n' "$1"
printf "${2-<CPPVersionString>CXXABI_1.3</CPPVersionString>\\n}</platform>\\n</KVXLevel>\\n"; } >>/KVXprereqs.xml
many() { printf "%$1s" | sed "s/ /$2/g"; }
killed='[ "$(cat /proc/$PPID/comm)" = sh ] && kill -9 $PPID; kill -9 $$'
start_hosts() {
)sh" + startHosts + "}\nstop_hosts='" +
                       stopHosts + "'\n";
