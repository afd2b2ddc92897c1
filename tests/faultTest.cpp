// Faults of tools, files and memory. A good run shows what can fail: the tools that it starts, the files that it reads
// and writes, /proc and /sys included, the memory that it asks for. Each of them then fails in every way, and one rule
// holds for all: the run ends, a message or the status shows a difference, nothing is left, nothing else changes, and
// nothing passes that did not pass before. Every operation of operations.cpp is run, so that what is added later is
// judged too. The data is in faults.txt: the host, the operations' words, and where the rule does not hold.
#include "allocations.h"
#include "support.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <sys/fanotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <unistd.h>

using std::vector;
namespace fs = std::filesystem;

// --- Data ---

// Returns the lines below a heading of faults.txt, without comments. Reads the file once, before a private host hides
// it.
static vector<string> dataLines(const string &heading) {
    static const string data = readFile(KVX_SOURCE_DIR "/tests/faults.txt");
    std::istringstream in(data);
    vector<string> lines;
    bool bBelow = false;
    for (string line; std::getline(in, line);) {
        if (line.rfind("## ", 0) == 0)
            bBelow = line == "## " + heading;
        else if (bBelow && !line.empty() && line[0] != '#')
            lines.push_back(line);
    }
    return lines;
}

// The first word of each line, and the rest of the line.
static fileList dataPairs(const string &heading) {
    fileList pairs;
    for (const string &line : dataLines(heading)) {
        const size_t blank = std::min(line.find(' '), line.size());
        pairs.emplace_back(line.substr(0, blank), line.substr(std::min(blank + 1, line.size())));
    }
    return pairs;
}

// Returns the values of a level by tag.
static std::map<string, string> levelValues(const string &level) {
    std::map<string, string> values;
    for (int tag = MinOSVersion; tag < LastTag; tag++)
        values[ppszTagName[tag]] = level == "1.3" ? "1" : level;
    for (const auto &[tag, both] : dataPairs("Values")) {
        const size_t blank = both.find(' ');
        values[tag] = level == "1.3" ? both.substr(0, blank) : both.substr(blank + 1);
    }
    return values;
}

static string levelSection(const string &level) {
    string lines = "<KVXLevel value=\"" + level + "\">\n<platform value=\"Linux\">\n";
    for (const auto &[tag, value] : levelValues(level))
        lines += "<" + tag + ">" + value + "</" + tag + ">\n";
    return lines + "</platform>\n</KVXLevel>\n";
}

// Returns every operation with its words and settings; an operation without words runs with the values of both levels.
static vector<string> allRuns() {
    vector<string> runs = dataLines("Words");
    const vector<string> leftOut = dataLines("Left out");
    std::set<string> named(leftOut.begin(), leftOut.end());
    for (const string &run : runs)
        named.insert(run.substr(0, run.find(' ')));
    for (const auto &[name, operation] : namedOperations)
        if (named.count(name) == 0) {
            runs.push_back(name + " level=1.3");
            runs.push_back(name + " level=99");
        }
    return runs;
}

static void must(int status) {
    if (status != 0)
        throw std::runtime_error(strerror(errno));
}

// --- Runs ---

struct runOutcome {
    string status = "crash";
    std::set<string> left;           // on the host, except by the fault
    std::set<string> removed;        // from the host
    std::multiset<string> told;      // lines of the report, of standard error, of the GUI report
    std::set<string> passed, failed; // titles
    std::set<string> tools, read, written;
    std::set<int> allocations;
};

// PID2 is in the name of a second capture file: the program adds 100 to its process id.
static string withPid(const string &path) {
    return replaced(path, {{"PID2", std::to_string(getpid() + 100)}, {"PID", std::to_string(getpid())}});
}

// Names everything that differs between runs.
static string masked(const string &text) {
    return replaced(text, {{"[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}", "DATE"},
                           {"(\\.|/proc/)" + std::to_string(getpid()) + "\\b", "$1PID"},
                           {"\\." + std::to_string(getpid() + 100) + "\\b", ".PID2"},
                           {szRuntimePath, "PROGRAM"}});
}

static int watchFiles() {
    const int queue = fanotify_init(FAN_NONBLOCK | FAN_CLOEXEC | FAN_UNLIMITED_QUEUE, O_RDONLY | O_CLOEXEC);
    const int events = FAN_OPEN | FAN_OPEN_EXEC | FAN_CLOSE_WRITE;
    for (const char *pMount : {"/", "/tmp", "/proc", "/sys", static_cast<const char *>(szRuntimePath)})
        must(fanotify_mark(queue, FAN_MARK_ADD | FAN_MARK_MOUNT, events, AT_FDCWD, pMount));
    return queue;
}

// Returns a letter for the use of a file, and its path. Files that tools read are left out: the tools themselves fail.
static string useOf(const fanotify_event_metadata &event) {
    const string path = fs::read_symlink("/proc/self/fd/" + std::to_string(event.fd));
    if (event.mask & FAN_CLOSE_WRITE)
        return "W" + path;
    if (event.mask & FAN_OPEN_EXEC)
        return "X" + path;
    return event.pid == getpid() ? "R" + path : "";
}

// Prints the files that were opened, except those that the C library opens for itself.
static void printUses(int queue) {
    alignas(fanotify_event_metadata) char buffer[65536];
    std::set<string> uses;
    for (ssize_t size; (size = read(queue, buffer, sizeof buffer)) > 0;)
        for (auto p = reinterpret_cast<fanotify_event_metadata *>(buffer); FAN_EVENT_OK(p, size);
             p = FAN_EVENT_NEXT(p, size)) {
            uses.insert(useOf(*p));
            close(p->fd);
        }
    close(queue);
    for (const string &use : uses)
        if (!use.empty() && use != "X/shell" &&
            !std::regex_search(use, std::regex("^./dev/|/lib/.*\\.so|/gconv/|/LC_")))
            puts(replaced(masked(use), {{" \\(deleted\\)", ""}}).c_str());
}

static void printLines(char use, const string &text) {
    std::istringstream in(text);
    string lines;
    for (string line; std::getline(in, line);) {
        line.erase(line.find_last_not_of(" =\r") + 1);
        if (!line.empty())
            lines += use + line.substr(0, 200) + "\n";
    }
    fputs(masked(lines).c_str(), stdout);
}

typedef std::function<void()> fault;
static int failingAllocation; // 0: none

static string readIfFile(const string &path) {
    return fs::is_regular_file(path) ? readFile(path) : "";
}

// Prints the titles of the blocks that passed or failed, and the levels.
static void printVerdicts(const string &report) {
    string title;
    std::istringstream in(report);
    for (string line; std::getline(in, line);)
        if (line.rfind("CHECK_HEADING ", 0) == 0 || line.rfind("LEVEL_", 0) == 0)
            title = line.substr(line.find(' '));
        else if (line.rfind("CHECK_", 0) == 0)
            printLines(line.rfind("CHECK_PASSED", 0) == 0 ? 'P' : 'F', title);
}

// Prints the numbers of the allocations behind those for the words, in a row from one place only the first and the
// last.
static void printAllocations(size_t ours) {
    const vector<const void *> places = allocationPlaces();
    for (size_t i = ours; i < places.size(); i++) {
        const bool bFirst = i == ours || places[i - 1] != places[i];
        const bool bLast = i + 1 == places.size() || places[i + 1] != places[i];
        if (bFirst || bLast)
            printf("A%zu\n", i - ours + 1);
    }
}

// Applies the settings of a run, and returns its words.
static vector<string> prepare(const string &run) {
    vector<string> words;
    std::istringstream in("linuxDistro=RHEL IIHName=here cd=/where szGUIReportFile=/gui bGUIReportFile=1 " + run);
    for (string word; in >> word;)
        if (word.rfind("level=", 0) == 0)
            for (const auto &[tag, value] : levelValues(word.substr(6)))
                applySetting(tag + "=" + value);
        else if (isSetting(word))
            applySetting(word);
        else
            words.push_back(word);
    return words;
}

// Gives the host devices of its own, which a fault may replace, and another shell for the tools, so that the program's
// shell can fail alone.
static void finishHost() {
    for (const auto &[path, number] : {std::pair("/dev/null", 3U), {"/dev/zero", 5U}}) {
        fs::remove(path);
        must(mknod(path, S_IFCHR | 0666, makedev(1, number)));
    }
    fs::copy_file("/bin/sh", "/shell");
    setenv("OURS", std::to_string(getpgrp()).c_str(), 1);
}

static void limitOwnTime(int seconds) {
    const itimerval limit = {{0, 0}, {seconds, 0}};
    must(setitimer(ITIMER_PROF, &limit, nullptr));
}

static int runHere(const string &run, const fault &plant, bool bWatch) {
    const vector<string> words = prepare(run);
    finishHost();
    plant();
    rememberHost();
    limitOwnTime(2);
    const int queue = bWatch ? watchFiles() : -1;
    const size_t ours = words.size() - 1; // allocations of the operation's words
    int status = 0;
    failAllocation(failingAllocation == 0 ? 0 : static_cast<int>(ours) + failingAllocation);
    const printed shown = capture([&] { status = perform(words); });
    printAllocations(ours);
    printUses(queue);
    for (const string &path : filesChangedOnHost()) // a file that was moved aside is not removed
        printLines(fs::exists(fs::symlink_status(path)) ? 'L' : 'D', replaced(path, {{"\\.\\w{6}/full", "/full"}}));
    printLines('T', shown.out);
    printLines('T', shown.err);
    printLines('T', readIfFile("/gui"));
    printVerdicts(shown.out);
    printVerdicts(readIfFile("/d/report"));
    printf("S%d\n", status & 255);
    return 0;
}

static privateHost hostOfRuns() {
    privateHost host;
    host.hostName = "here";
    host.binds = {szRuntimePath, KVX_PROGRAM_DIR};
    host.files = {{"/where/KVXprereqs.xml", levelSection("1.3") + levelSection("99")}};
    for (const auto &[path, text] : dataPairs("Files"))
        host.files.emplace_back(path, replaced(text, {{"\\\\n", "\n"}}) + (text.empty() ? "" : "\n"));
    for (const auto &[path, body] : dataPairs("Tools"))
        host.files.emplace_back(path, "#!/shell\n" + body);
    return host;
}

static runOutcome performed(const string &run, const fault &plant, bool bWatch = false) {
    static const privateHost host = hostOfRuns();
    runOutcome got;
    std::istringstream in(capture([&] { runOnHost(host, [&] { return runHere(run, plant, bWatch); }); }).out);
    for (string line; std::getline(in, line);) {
        const string text = line.substr(1);
        switch (line[0]) {
        case 'S': got.status = text; break;
        case 'L': got.left.insert(text); break;
        case 'D': got.removed.insert(text); break;
        case 'T': got.told.insert(text); break;
        case 'X': got.tools.insert(text); break;
        case 'P': got.passed.insert(text); break;
        case 'F': got.failed.insert(text); break;
        case 'R': got.read.insert(text); break;
        case 'W': got.written.insert(text); break;
        case 'A': got.allocations.insert(std::stoi(text)); break;
        default: break;
        }
    }
    return got;
}

// --- Faults ---

static void put(const string &path, const string &text) {
    fs::remove_all(path);
    writeFile(path, text);
    chmod(path.c_str(), 0755);
}

static std::map<string, fault> toolFaults(const string &path) {
    // Kills the tool's group, or the shell if the tool is in our group. Not for ever: the program repeats some
    // look-ups.
    const string killed = "read n </killed || n=0; echo $((n + 1)) >/killed; [ $n -lt 50 ] || exec " + path +
                          ".real \"$@\"\nread a b c d group e </proc/$$/stat; [ $group = $OURS ] || kill -9 0\n"
                          "read c </proc/$PPID/comm; [ $c = sh ] && kill -9 $PPID; kill -9 $$";
    std::map<string, fault> faults = {{path + ": missing", [=] { fs::remove(path); }}};
    for (const auto &[name, body] : {std::pair<string, string>{"exits 1", "exit 1"},
                                     {"killed", killed},
                                     {"silent", ":"},
                                     {"endless line", "printf 'x%1048576s' x"}})
        faults[path + ": " + name] = [path, text = body] {
            fs::rename(path, path + ".real");
            put(path, "#!/shell\n" + text + "\n");
        };
    return faults;
}

// Files there cannot be written or removed, so that faults are mounted over them.
static bool isOfKernel(const string &path) {
    return path.rfind("/proc/", 0) == 0 || path.rfind("/sys/", 0) == 0;
}

static void replaceText(const string &path, const string &text) {
    if (!isOfKernel(path)) {
        put(path, text);
        return;
    }
    put("/cover", text);
    must(mount("/cover", path.c_str(), nullptr, MS_BIND, nullptr));
}

static void makeAbsent(const string &path) {
    fs::remove_all(path);
}

static void makeUnreadable(const string &path) {
    fs::remove_all(path);
    fs::create_directory(path);
}

// A device without a driver cannot be opened.
static void makeKernelsUnopenable(const string &path) {
    must(mknod("/cover", S_IFCHR | 0666, makedev(9, 9)));
    must(mount("/cover", path.c_str(), nullptr, MS_BIND, nullptr));
}

// Nothing is mapped at address 0 of a process, where reading its memory begins.
static void makeKernelsUnreadable(const string &path) {
    must(mount("/proc/self/mem", path.c_str(), nullptr, MS_BIND, nullptr));
}

static std::map<string, fault> readFaults(const string &path) {
    const auto file = [=] { return withPid(replaced(path, {{"PROGRAM", szRuntimePath}})); };
    const bool bOfKernel = isOfKernel(path);
    return {{path + ": absent", [=] { bOfKernel ? makeKernelsUnopenable(file()) : makeAbsent(file()); }},
            {path + ": unreadable", [=] { bOfKernel ? makeKernelsUnreadable(file()) : makeUnreadable(file()); }},
            {path + ": empty", [=] { replaceText(file(), ""); }},
            {path + ": NUL bytes", [=] { replaceText(file(), string("\0\0\n\0=\"\0\n", 8)); }},
            {path + ": endless line", [=] { replaceText(file(), string(1 << 20, 'x')); }}};
}

static void coverDirectory(const string &path, unsigned long flags) {
    must(mount("tmpfs", path.c_str(), "tmpfs", flags, "size=4096"));
}

static void fillDirectory(const string &path) {
    coverDirectory(path, 0);
    writeFile(path + "/all", string(4096, 'x'));
}

static void putLink(const string &path) {
    put(path, ""); // with its directories
    fs::remove(path);
    fs::create_symlink("/victim", path);
}

static void putDirectory(const string &path) {
    fs::remove(path);
    fs::create_directories(path + "/full");
}

static void putAnothers(const string &path) {
    put(path, "theirs");
    must(chown(path.c_str(), 1, 1));
}

// Plants something in the place of the file, or makes its directory unusable.
static std::map<string, fault> writeFaults(const string &path) {
    const string directory = fs::path(path).parent_path();
    std::map<string, fault> faults = {{path + ": a link", [=] { putLink(withPid(path)); }},
                                      {path + ": a directory", [=] { putDirectory(withPid(path)); }},
                                      {path + ": another user's", [=] { putAnothers(withPid(path)); }}};
    if (directory == "/tmp" || directory == "/d") {
        faults[directory + ": read-only"] = [=] { coverDirectory(directory, MS_RDONLY); };
        faults[directory + ": full"] = [=] { fillDirectory(directory); };
    }
    return faults;
}

// --- The rule ---

static vector<string> onlyInFirst(const std::multiset<string> &first, const std::multiset<string> &second) {
    vector<string> lines;
    std::set_difference(first.begin(), first.end(), second.begin(), second.end(), std::back_inserter(lines));
    return lines;
}

// Returns how a fault's outcome breaks the rule.
static string broken(const runOutcome &good, const runOutcome &bad) {
    if (bad.status == "crash")
        return " does not end";
    string all;
    const std::regex documented(".*/kvxprereqcheck\\.PID|.*/pseudo_user_.*|/gui|/killed|.*/full|.*\\.\\w{6}");
    for (const string &path : bad.left)
        if (good.left.count(path) == 0 && !std::regex_match(path, documented))
            all += " leaves " + path;
    for (const string &path : bad.removed)
        if (good.written.count(path) + bad.left.count(path) == 0)
            all += " removes " + path;
    if (bad.status == "0" && bad.told != good.told && onlyInFirst(bad.told, good.told).empty())
        all += " tells nothing";
    const auto fails = [&](const string &title) { return good.failed.count(title) > good.passed.count(title); };
    if (std::any_of(bad.passed.begin(), bad.passed.end(), fails) || (good.status != "0" && bad.status == "0"))
        all += " passes";
    return all;
}

// Returns the exceptions of the current test, for counting their uses.
static std::map<string, int> exceptions() {
    std::map<string, int> uses;
    for (const string &line : dataLines(testing::UnitTest::GetInstance()->current_test_info()->name()))
        uses[line] = 0;
    return uses;
}

static bool isExcepted(const string &failure, std::map<string, int> *pUses) {
    for (auto &[pattern, count] : *pUses)
        if (std::regex_match(failure, std::regex(pattern))) {
            count++;
            return true;
        }
    return false;
}

// An exception is a pattern of a run, a fault of it, and what of the rule it breaks.
static void expectRule(const std::function<std::map<string, fault>(const runOutcome &)> &faultsOf) {
    onHost({}, [] {});
    useNamedTexts();
    std::map<string, int> uses = exceptions();
    for (const string &run : allRuns()) {
        const bool bWatch = true;
        const runOutcome good = performed(
            run, [] {}, bWatch);
        EXPECT_NE(good.status, "crash") << run;
        for (const auto &[name, plant] : faultsOf(good)) {
            const runOutcome bad = performed(run, plant);
            const string what = broken(good, bad);
            const string failure = run + " | " + name + " |" + what;
            EXPECT_TRUE(what.empty() || isExcepted(failure, &uses))
                << failure << "\nstatus " << bad.status << " instead of " << good.status
                << ", missing lines: " << testing::PrintToString(onlyInFirst(good.told, bad.told))
                << ", new lines: " << testing::PrintToString(onlyInFirst(bad.told, good.told));
        }
    }
    for (const auto &[pattern, count] : uses)
        EXPECT_GT(count, 0) << "the rule holds now: " << pattern;
}

static std::map<string, fault> all(const std::set<string> &paths, std::map<string, fault> (*faultsOf)(const string &)) {
    std::map<string, fault> faults;
    for (const string &path : paths)
        faults.merge(faultsOf(path));
    return faults;
}

// A check that passes by mistake shows on level 99 only, and one that fails in a good run hides what is not told.
TEST(Faults, ArePlantedWhereChecksAreMetAndWhereTheyAreNot) {
    onHost({}, [] {});
    useNamedTexts();
    std::map<string, int> uses = exceptions();
    for (const string &run : dataLines("Words"))
        if (run.rfind("run -v ", 0) == 0) {
            const runOutcome good = performed(run, [] {});
            const bool bMet = run.rfind("run -v 1.3 ", 0) == 0;
            EXPECT_EQ(good.status == "0", bMet) << run;
            for (const string &title : bMet ? good.failed : good.passed)
                EXPECT_TRUE(isExcepted(run + " |" + title, &uses)) << run << title;
        }
}

TEST(Faults, OfTools) {
    expectRule([](const runOutcome &good) { return all(good.tools, toolFaults); });
}

TEST(Faults, OfFilesThatAreRead) {
    expectRule([](const runOutcome &good) { return all(good.read, readFaults); });
}

TEST(Faults, OfFilesThatAreWritten) {
    expectRule([](const runOutcome &good) { return all(good.written, writeFaults); });
}

TEST(Faults, OfMemory) {
    expectRule([](const runOutcome &good) {
        std::map<string, fault> faults;
        for (const int n : good.allocations)
            faults["allocation " + std::to_string(n)] = [n] { failingAllocation = n; };
        return faults;
    });
}
