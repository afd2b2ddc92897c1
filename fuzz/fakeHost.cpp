#include "fakeHost.h"

#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <iterator>
#include <netdb.h>
#include <nl_types.h>
#include <set>
#include <spawn.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "allocations.h"
#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

using std::string;

string catalogText;
// No file and no process of the machine has these numbers.
static const int OWN_DESCRIPTOR = 1000;
static const int OWN_PROCESS = 1 << 30;
static bool bRunning;
static strings settings;
static strings words;
static strings outputs;
static size_t decided;
static size_t wordsTaken;
static size_t outputsTaken;
static std::set<FILE *> openFiles;
static string ownPath; // of the file that was created last
static char ending;    // of the command that was started last
static int timesAsked; // whether it has ended
static int pipeEnd;

char decision() {
    return !settings.empty() && decided < settings[0].size() ? settings[0][decided++] : '0';
}

const char *word() {
    return wordsTaken < words.size() ? words[wordsTaken++].c_str() : nullptr;
}

const string &output() {
    return outputs[outputsTaken + 1 < outputs.size() ? outputsTaken++ : outputs.size() - 1];
}

static bool isGood() {
    errno = ENOENT;
    return decision() == '0';
}

extern "C" FILE *__real_fopen(const char *pPath, const char *pMode);

// Opens a stream that reads a text, or one that drops all output.
static FILE *openStream(const string *pText) {
    FILE *pFile = pText == nullptr ? __real_fopen("/dev/null", "w")
                                   : fmemopen(const_cast<char *>(pText->data()), pText->size(), "r");
    return *openFiles.insert(pFile).first;
}

static FILE *openOutput(bool bRead) {
    return isGood() ? openStream(bRead ? &output() : nullptr) : nullptr;
}

// A command ends as decided: 'n' cannot be started, 'k' is killed, 't' takes too long; else the exit code from '0' on.
static int startCommand(pid_t *pId, const char *pCommand) {
    checkCommand(pCommand);
    *pId = OWN_PROCESS;
    ending = decision();
    timesAsked = 0;
    const string text = pipeEnd > 0 ? output().substr(0, 60000) : "";
    MUST_HOLD(pipeEnd == 0 || write(pipeEnd, text.data(), text.size()) == static_cast<ssize_t>(text.size()));
    pipeEnd = 0;
    return ending == 'n' ? EAGAIN : 0;
}

static int notePipe(int number) {
    pipeEnd = number;
    return 0;
}

// One that takes too long ends behind every limit, because an attached command has none.
static int findEnded(siginfo_t *pInformation) {
    const bool bRuns = ending == 't' && ++timesAsked < 1000;
    pInformation->si_pid = bRuns ? 0 : OWN_PROCESS;
    return 0;
}

// Each look at the clock is a second later.
static int tellTime(timespec *pTime) {
    static time_t seconds;
    *pTime = {++seconds, 0};
    return 0;
}

// One that takes too long is never reaped.
static pid_t takeStatus(int *pStatus) {
    if (pStatus != nullptr)
        *pStatus = ending == 'k' ? SIGKILL : ((ending ^ '0') & 0xff) << 8;
    return pStatus != nullptr ? OWN_PROCESS : -1;
}

static int openOwn(const char *pPath) {
    if (!isGood())
        return -1;
    ownPath = pPath;
    return OWN_DESCRIPTOR;
}

// Whether the file stays open.
static bool forgetOpen(FILE *pFile) {
    openFiles.erase(pFile);
    return false;
}

static int nameSystem(utsname *pName) {
    copyText(pName->release, output().c_str());
    copyText(pName->machine, "x86_64");
    return 0;
}

// A catalog is always there, so that fetching a text asks for no decision.
static int fileStatus(const string &path, struct stat *pStatus) {
    const bool bCatalog = path.find("kvxistring.cat") != path.npos;
    const bool bLocale = path.find("/locale/") != path.npos;
    *pStatus = {};
    pStatus->st_size = static_cast<off_t>(catalogText.size()); // another catalog is opened anew
    pStatus->st_mode = bLocale && !bCatalog ? S_IFDIR : S_IFREG;
    return bLocale || bCatalog || isGood() ? 0 : -1;
}

static int ownStatus(bool bOwn, struct stat *pStatus) {
    *pStatus = {};
    pStatus->st_mode = S_IFREG;
    return bOwn ? 0 : -1;
}

static char *environment(const string &name) {
    for (string &setting : settings)
        if (setting.compare(0, name.size() + 1, name + "=") == 0)
            return &setting[name.size() + 1];
    return name == "LANG" ? const_cast<char *>(prereqLocmap[0].name) : nullptr; // the quickest to be found
}

extern "C" {
FAKE_OWN(int, posix_spawn,
         (pid_t * pId, const char *p, const posix_spawn_file_actions_t *pActions, const posix_spawnattr_t *pAttributes,
          char *const *ppWords, char *const *ppEnvironment),
         (pId, p, pActions, pAttributes, ppWords, ppEnvironment), bRunning, startCommand(pId, ppWords[2]))
FAKE(int, posix_spawn_file_actions_adddup2, (posix_spawn_file_actions_t *, int number, int), notePipe(number))
FAKE_OWN(int, waitid, (idtype_t type, id_t id, siginfo_t *p, int options), (type, id, p, options), bRunning,
         findEnded(p))
FAKE(int, sigtimedwait, (const sigset_t *, siginfo_t *, const timespec *), -1)
FAKE_OWN(int, clock_gettime, (clockid_t clock, timespec *p), (clock, p), bRunning, tellTime(p))
FAKE_OWN(pid_t, waitpid, (pid_t id, int *pStatus, int options), (id, pStatus, options), bRunning, takeStatus(pStatus))
FAKE_OWN(int, kill, (pid_t id, int number), (id, number), bRunning, -1)
FAKE_OWN(sighandler_t, signal, (int number, sighandler_t p), (number, p), bRunning, SIG_DFL)
FAKE_OWN(int, stat, (const char *pPath, struct stat *p), (pPath, p), bRunning, fileStatus(pPath, p))
FAKE_OWN(int, mkdir, (const char *pPath, mode_t mode), (pPath, mode), bRunning, isGood() ? 0 : -1)
FAKE_OWN(int, unlink, (const char *pPath), (pPath), bRunning, 0)
FAKE_OWN(int, rename, (const char *pPath, const char *pTo), (pPath, pTo), bRunning, -1)
FAKE_OWN(int, open, (const char *p, int flags, ...), (p, flags, 0666), bRunning, openOwn(p))
FAKE_OWN(int, close, (int number), (number), number == OWN_DESCRIPTOR, 0)
FAKE_OWN(FILE *, fdopen, (int number, const char *p), (number, p), number == OWN_DESCRIPTOR, openOutput(p[0] == 'r'))
// all of the program's modes hold an "e"
FAKE_OWN(FILE *, fopen, (const char *pPath, const char *p), (pPath, p), strchr(p, 'e'), openOutput(p[0] == 'r'))
FAKE_OWN(int, fclose, (FILE * pFile), (pFile), forgetOpen(pFile), 0)
FAKE_OWN(DIR *, opendir, (const char *pPath), (pPath), bRunning, nullptr)
FAKE_OWN(char *, getenv, (const char *p), (p), strncmp(p, "KVX", 3) == 0 || strcmp(p, "LANG") == 0, environment(p))
FAKE_OWN(int, fstat, (int number, struct stat *p), (number, p), number == OWN_DESCRIPTOR, ownStatus(true, p))
FAKE_OWN(int, lstat, (const char *pPath, struct stat *p), (pPath, p), bRunning, ownStatus(pPath == ownPath, p))
FAKE(ssize_t, pwrite, (int, const void *, size_t size, off_t), isGood() ? static_cast<ssize_t>(size) : -1)
FAKE_OWN(int, ftruncate, (int number, off_t size), (number, size), bRunning, 0)
FAKE(int, mkostemp, (char *, int), -1)
FAKE(int, access, (const char *, int), isGood() ? 0 : -1)
FAKE(nl_catd, catopen, (const char *, int), (nl_catd)(catalogText.empty() ? -1L : 1L))
FAKE(char *, catgets, (nl_catd, int, int, const char *), &catalogText[0])
FAKE(int, catclose, (nl_catd), 0)
FAKE(int, uname, (utsname * p), nameSystem(p))
FAKE(char *, getcwd, (char *szPath, size_t size), isGood() ? iStrncpy(szPath, "/opt/kvx", (int)size) : nullptr)
FAKE(servent *, getservbyname, (const char *, const char *), nullptr)
FAKE(servent *, getservbyport, (int, const char *), nullptr)
FAKE(void *, dlopen, (const char *, int), isGood() ? &words : nullptr)
FAKE(int, dlclose, (void *), 0)
}

template <typename... Objects> static void clear(Objects &...objects) {
    (memset(static_cast<void *>(&objects), 0, sizeof objects), ...);
}

// One digit a flag; or the value of a tag.
static void applySetting(const string &setting) {
    static int *const flags[] = {&linuxDistro, &debug,     &bShareGrid, &bNonIB,         &bMHCA,       &isNTP,
                                 &kshntp,      &bDiskList, &bInstList,  &isUbuntu14,     &bnoStdRtk,   &bHostName,
                                 &bNetName,    &bDiskName, &bInstName,  &bGUIReportFile, &bTbDiskName, &bClient};
    const size_t equals = setting.find('=');
    const int tag = equals == setting.npos ? -1 : sqloGetTagIndex(setting.substr(0, equals).c_str());
    if (tag >= 0)
        setPrereq(tag, setting.c_str() + equals + 1);
    for (size_t i = 0; equals == setting.npos && i < std::size(flags); i++)
        *flags[i] = (i < setting.size() ? setting[i] & 7 : 0) % (i == 0 ? DISTRO_COUNT : 2);
}

static void resetProgram() {
    clear(strictFlag, vastdw, usname, uname1, sqllib, isPort, servicePort, isfcmstart, fcmstart, issvcnm, svcnm,
          bCustomInputFile, szInputXMLFile, bCustomReportFile, szReportFile, szGUIReportFile, bCheckLatestRelease,
          bNonShareGrid, bPrintSummary, bCheckSpecificRelease, szInputVersion, bEtchostError, szNetname, szinstPathName,
          szPrereqCatFilePath, szRuntimePath, addCmd, tbDiskName, szInputDistro, preqVersionList, ppszPREREQ, pStackTop,
          pErrorList, pPrereqSummaryList, name, pVersion, pRelease, pMinorRelease, szNTPMessages, preqHostInfo,
          preqUserInfo, preqDiskInfo, preqNetNames, preqEtcInfo);
    partitions = bPCSupportedPlatform = true;
    catalogText = "%1 %2 %3 %4 of it";
    copyText(szLocale, prereqLocmap[0].name);
    applySetting("0");
}

static strings takeWords(std::istream &input) {
    string line;
    std::getline(input, line);
    std::istringstream rest(line);
    return {std::istream_iterator<string>(rest), {}};
}

void startRun(const string &input) {
    static FILE *const pNowhere = openStream(nullptr);
    stdout = stderr = pNowhere; // what the program prints; libraries that report have taken theirs before
    openFiles.clear();
    holdAllocations();
    resetProgram();
    std::istringstream rest(input);
    settings = takeWords(rest);
    words = takeWords(rest);
    outputs.clear();
    do
        std::getline(rest, outputs.emplace_back(), '\x1e');
    while (!rest.eof());
    decided = 0;
    wordsTaken = 0;
    outputsTaken = 0;
    pipeEnd = 0;
    for (size_t i = 1; i < settings.size(); i++)
        applySetting(settings[i]);
    bRunning = true;
}

void endRun(size_t openAllowed) {
    bRunning = false;
    MUST_HOLD(totalTokens == 0 && openFiles.size() <= openAllowed);
    for (FILE *pFile : openFiles)
        __real_fclose(pFile);
    freeAllocations();
}
