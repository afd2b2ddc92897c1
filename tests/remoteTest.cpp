// Remote execution: with the real ssh, scp and sshd, and with fakes where a fault must be forced.
#include "support.h"

#include <filesystem>

using std::string;

void compareOutcomes(const string &name, const string &common, void (*add)(const string &), int (*operation)(),
                     const std::vector<std::pair<string, string>> &cases, const char *pRealTool = nullptr);
int kvxMain(int argc, char **argv);

// Hosts with an sshd, a name and a /tmp of their own; gamma refuses the key, and delta is down.
extern const string startHosts, stopHosts; // for other tests too
const string startHosts = R"sh(key=/root/.ssh/id_ed25519; rm -rf /root/.ssh
mkdir -p /run/sshd /root/.ssh; ssh-keygen -q -t ed25519 -N '' -f $key; usermod -p '*' root
printf '%s\n' 'ControlMaster auto' 'ControlPath /run/shared-%h' 'ControlPersist 20' >/root/.ssh/config
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

// Shows every host's mark and what shell lines print.
static void show(const string &lines) {
    for (const hostInfo *pHost = preqHostInfo; pHost != nullptr; pHost = pHost->next)
        printf("%.9s: %d\n", pHost->hostName, pHost->isSSH);
    fflush(stdout);
    EXPECT_EQ(system(lines.c_str()), 0) << lines;
}

// Words are settings in capitals, hosts, or, when they begin with no letter, arguments of the program.
static std::vector<string> arguments = {"/opt/kvx/kvxprereqcheck"};
static void addWord(const string &word) {
    bShareGrid = bNetList = bInstName = bShareGrid || word == "GRID";
    bNonIB = bNonIB || word == "NONIB";
    bAdapterListFile = bAdapterListFile || word == "ADAPTERS";
    bGUIReportFile = bGUIReportFile && word != "NOGUI";
    if (!isalpha(word[0]))
        arguments.push_back(word);
    else if (!isupper(word[1]))
        updateHostList(word.c_str());
}

// The program's directory, with a stand-in that takes the remote options. On beta.dom that is the program itself.
static const string layProgram = R"sh(mkdir -p /opt/kvx /opt/vexha/Linux/msg; cd /opt/vexha
touch prereqVEX Linux/msg/installVEX; cd /opt/kvx; touch kvxprereqcheckoss kvxrocmc; ln -s $runtime/locale
printf '<KVXLevel value="%s">\n<platform value="Linux">\n</platform>\n</KVXLevel>\n' 12.1 "1';>/ran" >KVXprereqs.xml
cat >kvxprereqcheck <<'END'
#!/bin/sh
{ echo "$(hostname): $*"; ls /tmp/kvxprereq /tmp/vexha; } >>/log; echo output; cd /tmp/kvxprereq
[ $(hostname) = alpha ] || { ASAN_OPTIONS=detect_leaks=0 ./kvxprereqcheck_exe "$@"; rc=$?; echo $rc >>/log; exit $rc; }
printf 'report\nab\nx\n\n\001%%n%%s\n%300s\n' . >crptrmt.txt; printf 'GUI report\nx\n' >guirmt.txt
END
cp $program/kvxprereqcheck kvxprereqcheck_exe; chmod +x kvxprereqcheck; echo 'Red Hat release 9.4' >/etc/redhat-release
)sh";

// Runs the program in this process. Of what a run with fakes reports nothing is shown.
static int runProgramHere() {
    std::vector<char *> argv;
    for (string &argument : arguments)
        argv.push_back(argument.data());
    std::filesystem::current_path("/opt/kvx");
    bHostList = 1;
    const int rc = kvxMain(static_cast<int>(argv.size()), argv.data());
    printf("[%s] [%s]\n", addCmd, addFiles);
    show("[ -e /fakes/log ] && { sed -i '/hostname$/d' /fakes/log; exec rm -f /report /gui /tmp/kvxprereqcheck.*; }\n" +
         stopHosts);
    return rc;
}

static int testShells() {
    const int rc = checkkvxSSHToAll();
    printf("%s %s\n", getSSHCmd(), getSCPCmd());
    return show(stopHosts), rc;
}

static int placeRunAndRemove() {
    linuxDistro = DISTRO_RHEL;
    const int placed = placePrereqBinaries(), ran = runPrereqBinaries(), removed = removePrereqBinaries();
    return printf("placed %d, ran %d\n", placed, ran), show(":"), removed;
}

// clang-format off

TEST(RealShell, RunsTheProgramOnEveryHost) {
    compareOutcomes("remote", layProgram + startHosts, addWord, runProgramHere, {
        {"cd /tmp; touch hl.txt nl.txt dl.txt il.txt",
         "GRID delta gamma Here.x beta.dom alpha -v 12.1 -c -strict -gui /gui"}}, "/usr/sbin/sshd");
}

TEST(RealShell, IsTestedToAllHosts) {
    const string lay = "mkdir -p /var/kvx/kvxssh; cd /var/kvx/kvxssh; echo kvxlocssh >.remote_shell_cmd\n"
                       "printf '#!/bin/sh\nexec ssh \"$@\"\n' >kvxlocssh; chmod +x kvxlocssh";
    compareOutcomes("shells", startHosts + lay, addWord, testShells, {
        {"", "alpha here"}, {"", "DEBUG alpha delta gamma beta.dom " + string(300, 'z')},
        {"rm .remote_shell_cmd", "alpha"}, {"echo ssh >.remote_shell_cmd; rm kvxlocssh", "alpha"}}, "/usr/sbin/sshd");
}

// "at FAILS DIES" lays an ssh and an scp that fail or end by a signal where a call matches, and else fetch a line.
static const string layShells = R"sh(mkdir -p /tmp/vexha /var/kvx/kvxssh; fake tar :
at() { for tool in ssh scp; do fake $tool "case \"$tool \$*\" in $1) exit 6;; $2) $killed
esac; case \$1 in *rmt.txt) echo \"fetched \$1\" >/tmp/\${1##*/}; esac"; done; }
at none none)sh";

TEST(RemoteRuns, GoOnOrEnd) {
    const string once = "cd /var/kvx/kvxssh; echo kvxlocssh >.remote_shell_cmd; fake grep 'exec /bin/grep \"$@\"'\n"
                        "fake kvxlocssh 'rm -f /var/kvx/kvxssh/.*cmd'; ln -s /fakes/kvxlocssh";
    compareOutcomes("runs", layShells, addWord, placeRunAndRemove, {
        {"", "DEBUG Here.x alpha"}, {"touch /tmp/hl.txt", "ADAPTERS alpha"}, {"", "ADAPTERS alpha"}, {once, "alpha"},
        {"at ssh*beta?host* ssh*gamma?host*", "DEBUG gamma beta alpha"},
        {"at ssh*beta?mk* ssh*gamma?mk*", "DEBUG alpha gamma beta"}, {"at scp?beta* none", "beta"},
        {"at ssh*beta*-hfile* ssh*gamma*-hfile*", "DEBUG gamma beta"},
        {"at ssh*beta?rm* ssh*gamma?rm*", "DEBUG beta gamma"}, {"at scp*beta:* scp*gamma:*", "DEBUG gamma beta"},
        {"", "DEBUG " + string(54, 'x') + " " + string(55, 'y') + " " + string(300, 'z')}});
}

TEST(RemoteRuns, AreStartedWithTheArgumentsOfThisOne) {
    compareOutcomes("arguments", layProgram + layShells, addWord, runProgramHere, {
        {"", "NONIB alpha -c -v 12.1"}, {"", "GRID NOGUI alpha -c -l -strict"}});
}
