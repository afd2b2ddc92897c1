#include "fakeHost.h"

#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <iterator>
#include <netdb.h>
#include <nl_types.h>
#include <pwd.h>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <vector>

#include "allocations.h"
#include "sqloCommand.h"
#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

using std::string;

string catalogText;
bool bKernelKnown;
static bool bRunning;
static std::vector<string> settings, words, outputs;
static size_t decided, wordsTaken, outputsTaken;
static std::set<FILE *> openFiles;

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

// A stream that a text is read from, or that drops what is written.
static FILE *openStream(string *pOwnText) {
    cookie_io_functions_t calls = {};
    calls.read = [](void *pText, char *pBuffer, size_t size) {
        size = static_cast<string *>(pText)->copy(pBuffer, size);
        static_cast<string *>(pText)->erase(0, size);
        return static_cast<ssize_t>(size);
    };
    calls.write = [](void *, const char *, size_t size) { return static_cast<ssize_t>(size); };
    calls.close = [](void *pText) { return delete static_cast<string *>(pText), 0; };
    return *openFiles.insert(fopencookie(pOwnText, pOwnText == nullptr ? "w" : "r", calls)).first;
}

static FILE *openOutput(bool bRead) {
    return isGood() ? openStream(bRead ? new string(output()) : nullptr) : nullptr;
}

static int commandStatus(char c) {
    return c == 'k' ? SIGKILL : ((c ^ '0') & 0xff) << 8;
}

// A catalog is always there, so that fetching a text asks for no decision.
static int fileStatus(const char *pPath, struct stat *pStatus) {
    bool bCatalog = strstr(pPath, "kvxistring.cat") != nullptr, bLocale = strstr(pPath, "/locale/") != nullptr;
    pStatus->st_mode = bLocale && !bCatalog ? S_IFDIR : S_IFREG;
    return bLocale || bCatalog || isGood() ? 0 : -1;
}

static char *environment(const string &name) {
    for (string &setting : settings)
        if (setting.compare(0, name.size() + 1, name + "=") == 0)
            return &setting[name.size() + 1];
    return name == "LANG" ? const_cast<char *>(prereqLocmap[0].name) : nullptr; // the quickest to be found
}

// The program's calls are linked to these. A fuzzing or profiling library makes some of them too: what is not the
// program's goes to the real ones.
#define FAKE(RESULT, NAME, PARAMETERS, ANSWER)                                                                         \
    RESULT __wrap_##NAME PARAMETERS {                                                                                  \
        return ANSWER;                                                                                                 \
    }
#define FAKE_OWN(RESULT, NAME, PARAMETERS, ARGUMENTS, OWN, ANSWER)                                                     \
    RESULT __real_##NAME PARAMETERS;                                                                                   \
    FAKE(RESULT, NAME, PARAMETERS, (OWN) ? (ANSWER) : __real_##NAME ARGUMENTS)
static const int OWN_DESCRIPTOR = 1000;

extern "C" {
FAKE_OWN(int, system, (const char *pCommand), (pCommand), bRunning, commandStatus(decision()))
FAKE_OWN(int, stat, (const char *pPath, struct stat *p), (pPath, p), bRunning, fileStatus(pPath, p))
FAKE_OWN(int, mkdir, (const char *pPath, mode_t mode), (pPath, mode), bRunning, isGood() ? 0 : -1)
FAKE_OWN(int, unlink, (const char *pPath), (pPath), bRunning, 0)
FAKE_OWN(int, open, (const char *p, int flags, ...), (p, flags, 0666), bRunning, isGood() ? OWN_DESCRIPTOR : -1)
FAKE_OWN(int, close, (int number), (number), number == OWN_DESCRIPTOR, 0)
FAKE_OWN(FILE *, fdopen, (int number, const char *p), (number, p), number == OWN_DESCRIPTOR, openStream(nullptr))
// all of the program's modes hold an "e"
FAKE_OWN(FILE *, fopen, (const char *pPath, const char *p), (pPath, p), strchr(p, 'e'), openOutput(p[0] == 'r'))
FAKE_OWN(FILE *, popen, (const char *pCommand, const char *p), (pCommand, p), strchr(p, 'e'), openOutput(true))
FAKE_OWN(int, fclose, (FILE * pFile), (pFile), (openFiles.erase(pFile), false), 0)
FAKE_OWN(int, pclose, (FILE * pFile), (pFile), openFiles.erase(pFile), __real_fclose(pFile))
FAKE_OWN(DIR *, opendir, (const char *pPath), (pPath), bRunning, nullptr)
FAKE_OWN(char *, getenv, (const char *p), (p), strncmp(p, "KVX", 3) == 0 || strcmp(p, "LANG") == 0, environment(p))
FAKE(int, lstat, (const char *, struct stat *), -1)
FAKE(int, access, (const char *, int), isGood() ? 0 : -1)
FAKE(nl_catd, catopen, (const char *, int), (nl_catd)(catalogText.empty() ? -1L : 1L))
FAKE(char *, catgets, (nl_catd, int, int, const char *), &catalogText[0])
FAKE(int, catclose, (nl_catd), 0)
FAKE(int, uname, (utsname * p),
     (copyText(p->release, output().c_str()), copyText(p->machine, "x86_64"), bKernelKnown ? 0 : -1))
FAKE(int, gethostname, (char *szName, size_t size), (iStrncpy(szName, "here.site", (int)size), 0))
FAKE(char *, getcwd, (char *szPath, size_t size), isGood() ? iStrncpy(szPath, "/opt/kvx", (int)size) : nullptr)
FAKE(void, setpwent, (), (void)0)
FAKE(passwd *, getpwent, (), nullptr)
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
    size_t equals = setting.find('=');
    int tag = equals == setting.npos ? -1 : sqloGetTagIndex(setting.substr(0, equals).c_str());
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
    partitions = bPCSupportedPlatform = bKernelKnown = true;
    catalogText = "%1 %2 %3 %4 of it";
    copyText(szLocale, prereqLocmap[0].name);
    applySetting("0");
}

static std::vector<string> takeWords(std::istream &input) {
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
    decided = wordsTaken = outputsTaken = 0;
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
