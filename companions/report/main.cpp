// kvxprereqreport: reads what kvxprereqcheck reported, on one host or on many, and shows it to programs or to people.
#include "earlier.h"
#include "input.h"
#include "readerLanguage.h"
#include "text.h"
#include "waivers.h"
#include "writers.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <getopt.h>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace report;

namespace {

enum ExitStatus { exitGood = 0, exitFailed = 1, exitUnknown = 2 };

const char *const pUsage = "Usage: kvxprereqreport [--format=table|json|junit|html] [--output=FILE]\n"
                           "           [--host=NAME] [--status=N] [--errors=FILE]\n"
                           "           [--language=LANG] [--waivers=FILE] [--compare=FILE]\n"
                           "           [REPORT | DIRECTORY]\n"
                           "\n"
                           "Shows what kvxprereqcheck reported. REPORT is the report of one host; without\n"
                           "it, or with -, standard input is read. DIRECTORY has a directory for each host,\n"
                           "named after it, with the files report, status, errors and reason, as far as\n"
                           "there are any.\n"
                           "\n"
                           "  --format=FORMAT  table (default), json, junit or html\n"
                           "  --output=FILE    write to FILE, not to standard output\n"
                           "  --host=NAME      name of the host of REPORT\n"
                           "  --status=N       exit status of kvxprereqcheck on that host\n"
                           "  --errors=FILE    what it wrote to standard error\n"
                           "  --language=LANG  de, en, es, fr, it, ja, ko, pt_BR, zh_CN or zh_TW: language\n"
                           "                   of table and page; else that of the environment\n"
                           "  --waivers=FILE   warnings that are accepted, a line each: HOST LEVEL CHECK\n"
                           "                   [text=PATTERN] [until=YYYY-MM-DD] REASON\n"
                           "  --compare=FILE   show what has changed since the run whose JSON is in FILE\n"
                           "  -h, --help       print this text and exit\n"
                           "  --version        print the version and exit\n"
                           "\n"
                           "Exit status: 0 all passed, or warnings only; 1 something failed; 2 something is\n"
                           "unknown, incomplete or unreadable. With --compare: 1 something got worse, or a\n"
                           "new host is not good; else 2 something cannot be told; else 0.\n";

// What the command line asks for cannot be done.
struct usageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct settings {
    std::string format = "table", output, input = "-";
    std::optional<std::string> host, errors, language, waivers, compare;
    std::optional<int> status;
    const char *pInformation = nullptr; // to be printed, and nothing else
};

// --- Input ---

std::string ownName() {
    std::array<char, 256> name{}; // longer than any name
    return gethostname(name.data(), name.size()) == 0 ? name.data() : "localhost";
}

material givenBy(const settings &asked) {
    material given;
    given.name = asked.host ? *asked.host : asked.input == "-" ? ownName() : fs::path(asked.input).filename().string();
    given.status = asked.status;
    given.report = common::readFile(asked.input);
    if (asked.errors)
        given.errors = common::readFile(*asked.errors);
    return given;
}

bool isDirectory(const std::string &path) {
    std::error_code failed;
    return path != "-" && fs::is_directory(path, failed);
}

// Lists the hosts of the directory. Reports other files on standard error, except the file that the output replaces.
std::vector<hostPlace> hostsIn(const settings &asked) {
    if (asked.host || asked.status || asked.errors)
        throw usageError("--host, --status and --errors are for one report; " + asked.input + " is a directory");
    std::vector<fs::path> others;
    std::vector<hostPlace> places = placesIn(asked.input, others);
    if (places.empty())
        throw std::runtime_error(asked.input + (fs::exists(fs::path(asked.input) / "report")
                                                    ? ": is one host's directory; name the one that it lies in"
                                                    : ": has no directory of a host"));
    std::error_code failed;
    for (const fs::path &other : others)
        if (asked.output.empty() || !fs::equivalent(other, asked.output, failed))
            std::cerr << "kvxprereqreport: " << visible(other.string()) << ": not a directory, so not a host\n";
    return places;
}

// --- Catalogs ---

// Beside the program in a build, in the program's own directory once installed.
fs::path localeDirectory() {
    std::error_code failed;
    const fs::path directory = fs::read_symlink("/proc/self/exe", failed).parent_path();
    for (const char *pBeside : {"locale", "../lib/kvxprereq/checker/locale"})
        if (fs::is_directory(directory / pBeside, failed))
            return directory / pBeside;
    throw std::runtime_error("no message catalogs beside " + directory.string());
}

// --- Writing ---

// A file that is complete when it appears, with the owner and the mode of the one that it replaces. What is no regular
// file, such as a pipe, is written to as it is.
class outputFile {
public:
    explicit outputFile(const std::string &path) : target(path), written(path) {
        struct stat about {};
        const bool bExists = lstat(path.c_str(), &about) == 0;
        if (!bExists || S_ISREG(about.st_mode)) {
            written += "." + std::to_string(getpid());
            const descriptor file(
                open(written.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, bExists ? 0600 : 0666));
            if (file == -1)
                throw fileError(target);
            if (bExists)
                takeOver(file, about);
        }
        stream.open(written, std::ios::binary);
        if (!stream)
            throw fileError(target);
    }
    outputFile(const outputFile &) = delete;
    outputFile &operator=(const outputFile &) = delete;
    ~outputFile() {
        if (written != target)
            unlink(written.c_str());
    }

    void finish() {
        stream.close();
        if (!stream || (written != target && rename(written.c_str(), target.c_str()) != 0))
            throw fileError(target);
        written = target;
    }

    std::ostream &content() {
        return stream;
    }

private:
    // Only root can give a file away. A change of the owner clears bits of the mode, so that is set behind it.
    void takeOver(int file, const struct stat &about) {
        const bool bOwned = fchown(file, about.st_uid, about.st_gid) == 0;
        if (fchmod(file, about.st_mode & (bOwned ? 07777U : 0777U)) != 0)
            throw fileError(target);
    }

    std::string target, written;
    std::ofstream stream;
};

// The translation that --language names, or else the environment. English where the environment's language has none.
std::string chooseTranslation(const settings &asked, const fs::path &catalogs) {
    std::string found = translationFor(asked.language.value_or(localeName("LC_MESSAGES")), catalogs);
    if (asked.language && found.empty())
        throw usageError("no such language: " + *asked.language + " (there are " + translationsIn(catalogs) + ")");
    return found;
}

// The language and the code set of table and page.
struct wording {
    encoder codes;
    messages texts;

    wording(const settings &asked, const fs::path &catalogs)
        : codes(asked.format == "table" ? codeSetOf(localeName("LC_CTYPE")) : "utf8"),
          texts(openTranslation(chooseTranslation(asked, catalogs), catalogs, codes)) {
    }
};

std::unique_ptr<writer> makeWriter(const std::string &format, std::ostream &out, bool bColour, const wording &own) {
    if (format == "json")
        return jsonWriter(out);
    if (format == "junit")
        return junitWriter(out);
    if (format == "html")
        return htmlWriter(out, own.texts);
    return tableWriter(out, bColour, own.texts, own.codes);
}

// --- The run ---

int exitStatusOf(const host &one) {
    static constexpr std::array statuses{exitGood, exitGood, exitUnknown, exitFailed};
    return statuses[static_cast<size_t>(one.result)];
}

// A failure outranks what is not known.
int worse(int a, int b) {
    return a == exitFailed || b == exitFailed ? exitFailed : std::max(a, b);
}

// Reads a file that an option names, without a byte order mark at its beginning.
std::string readOptionFile(const char *pOption, const std::string &path) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    try {
        std::string text = readRegularFile(path);
        if (text.compare(0, mark.size(), mark) == 0)
            text.erase(0, mark.size());
        return text;
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(std::string(pOption) + ": " + error.what());
    }
}

waiverList readWaivers(const settings &asked) {
    return asked.waivers ? waiverList(*asked.waivers, readOptionFile("--waivers", *asked.waivers), today())
                         : waiverList();
}

std::optional<comparison> readComparison(const settings &asked, const waiverList &waivers, languages &known) {
    if (!asked.compare)
        return std::nullopt;
    return std::optional<comparison>(
        std::in_place, *asked.compare,
        readEarlier(*asked.compare, readOptionFile("--compare", *asked.compare), waivers, known), known);
}

// The files that a run depends on. If one cannot be read, the run ends before it prints anything.
struct materials {
    std::vector<hostPlace> places; // of a directory
    languages known;
    waiverList waivers;
    std::optional<comparison> compared;
    std::optional<material> single; // the one report

    explicit materials(const settings &asked)
        : places(isDirectory(asked.input) ? hostsIn(asked) : std::vector<hostPlace>()), known(localeDirectory()),
          waivers(readWaivers(asked)), compared(readComparison(asked, waivers, known)) {
        if (places.empty())
            single = givenBy(asked);
    }
};

int exitStatusOf(const comparison &compared) {
    return compared.isWorse() ? exitFailed : compared.isUnknown() ? exitUnknown : exitGood;
}

int showHosts(materials &given, writer &shown) {
    std::optional<comparison> &compared = given.compared;
    int status = exitGood;
    const auto show = [&](const material &of) {
        host one = readHost(of, given.known);
        given.waivers.apply(one);
        status = worse(status, exitStatusOf(one));
        if (compared)
            compared->add(one);
        shown.add(std::move(one));
    };
    if (given.single)
        show(*given.single);
    for (const hostPlace &place : given.places)
        show(fetchedFrom(place));
    for (const std::string &complaint : given.waivers.complaints())
        std::cerr << "kvxprereqreport: " << complaint << '\n';
    if (compared) {
        compared->finish();
        shown.compareWith(*compared);
    }
    shown.finish();
    return compared ? exitStatusOf(*compared) : status;
}

void flushStandardOutput() {
    if (!std::cout.flush())
        throw fileError("standard output");
}

// Everything but the hosts' own files is read before the output is made, which may lie among the hosts.
int run(const settings &asked) {
    const wording own(asked, localeDirectory());
    materials given(asked);
    if (asked.output.empty()) {
        std::ios::sync_with_stdio(false);
        const bool bColour = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
        const int status = showHosts(given, *makeWriter(asked.format, std::cout, bColour, own));
        flushStandardOutput();
        return status;
    }
    outputFile file(asked.output);
    const int status = showHosts(given, *makeWriter(asked.format, file.content(), false, own));
    file.finish();
    return status;
}

// A text may have several lines, each with a fault of its own.
void complain(std::string_view text) {
    do
        std::cerr << "kvxprereqreport: " << nextLine(text) << '\n';
    while (!text.empty());
}

int print(const char *pText) {
    std::cout << pText;
    flushStandardOutput();
    return exitGood;
}

std::string notEmpty(const char *pValue) {
    if (*pValue == '\0')
        throw usageError("an option's value is empty");
    return pValue;
}

// Sets the file of an option that may occur once.
void setFile(const char *pOption, std::optional<std::string> &file, const char *pValue) {
    if (file)
        throw usageError(std::string(pOption) + " is given twice");
    file = notEmpty(pValue);
    if (file == common::standardInput)
        throw usageError(std::string(pOption) + " needs a regular file, not standard input");
}

void refuseOutputTo(const settings &asked, const char *pOption, const std::optional<std::string> &file) {
    std::error_code failed;
    if (file && !asked.output.empty() && fs::equivalent(*file, asked.output, failed))
        throw usageError("--output would replace the file of " + std::string(pOption) + ": " + asked.output);
}

settings readCommandLine(int argc, char **argv) {
    enum { FORMAT = 1, OUTPUT, HOST, STATUS, ERRORS, LANGUAGE, WAIVERS, COMPARE, HELP, VERSION };
    static const std::array<option, 11> options{{{"format", required_argument, nullptr, FORMAT},
                                                 {"output", required_argument, nullptr, OUTPUT},
                                                 {"host", required_argument, nullptr, HOST},
                                                 {"status", required_argument, nullptr, STATUS},
                                                 {"errors", required_argument, nullptr, ERRORS},
                                                 {"language", required_argument, nullptr, LANGUAGE},
                                                 {"waivers", required_argument, nullptr, WAIVERS},
                                                 {"compare", required_argument, nullptr, COMPARE},
                                                 {"help", no_argument, nullptr, HELP},
                                                 {"version", no_argument, nullptr, VERSION},
                                                 {}}};
    static const std::array<std::string_view, 4> formats{"table", "json", "junit", "html"};
    settings asked;
    for (int found = 0; (found = getopt_long(argc, argv, "h", options.data(), nullptr)) != -1;) {
        switch (found) {
        case FORMAT: asked.format = optarg; break;
        case OUTPUT: asked.output = notEmpty(optarg); break;
        case HOST: asked.host = notEmpty(optarg); break;
        case ERRORS: asked.errors = notEmpty(optarg); break;
        case LANGUAGE: asked.language = notEmpty(optarg); break;
        case WAIVERS: setFile("--waivers", asked.waivers, optarg); break;
        case COMPARE: setFile("--compare", asked.compare, optarg); break;
        case STATUS:
            if (!(asked.status = statusOf(optarg)))
                throw usageError("--status is a number from 0 to 255");
            break;
        case 'h':
        case HELP: asked.pInformation = pUsage; return asked;
        case VERSION: asked.pInformation = "kvxprereqreport " KVX_VERSION "\n"; return asked;
        default: throw usageError("");
        }
    }
    if (std::count(formats.begin(), formats.end(), asked.format) == 0)
        throw usageError("--format is table, json, junit or html");
    if (asked.compare && asked.format == "junit")
        throw usageError("--compare is for table, json and html");
    refuseOutputTo(asked, "--waivers", asked.waivers);
    refuseOutputTo(asked, "--compare", asked.compare);
    if (argc - optind > 1)
        throw usageError("more than one report is given");
    if (optind < argc)
        asked.input = argv[optind];
    return asked;
}

} // namespace

int main(int argc, char **argv) {
    try {
        const settings asked = readCommandLine(argc, argv);
        return asked.pInformation != nullptr ? print(asked.pInformation) : run(asked);
    } catch (const usageError &error) {
        if (*error.what() != '\0')
            std::cerr << "kvxprereqreport: " << error.what() << '\n';
        std::cerr << "Try kvxprereqreport --help\n";
    } catch (const std::exception &error) {
        complain(error.what());
    }
    return exitUnknown;
}
