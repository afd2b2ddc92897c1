// kvxprereqreport: reads what kvxprereqcheck reported, on one host or on many, and shows it to programs or to people.
#include "reader.h"
#include "writers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <getopt.h>
#include <iostream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace report;

namespace {

enum ExitStatus { exitGood = 0, exitFailed = 1, exitUnknown = 2 };

const char *const pUsage = "Usage: kvxprereqreport [--format=table|json|junit|html] [--output=FILE]\n"
                           "           [--host=NAME] [--status=N] [--errors=FILE] [REPORT | DIRECTORY]\n"
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
                           "  -h, --help       print this text and exit\n"
                           "\n"
                           "Exit status: 0 all passed, or warnings only; 1 something failed; 2 something is\n"
                           "unknown, incomplete or unreadable.\n";

// What the command line asks for cannot be done.
struct usageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct settings {
    std::string format = "table", output, input = "-";
    std::optional<std::string> host, errors;
    std::optional<int> status;
};

// --- Reading ---

std::runtime_error fileError(const std::string &path) {
    return std::runtime_error(path + ": " + std::strerror(errno));
}

// A descriptor that closes itself.
class descriptor {
public:
    explicit descriptor(int opened) : number(opened) {
    }
    descriptor(const descriptor &) = delete;
    descriptor &operator=(const descriptor &) = delete;
    ~descriptor() {
        if (number > STDERR_FILENO)
            close(number);
    }
    operator int() const {
        return number;
    }

private:
    int number;
};

std::string readAll(int from, const std::string &path) {
    std::string text;
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t got = read(from, buffer.data(), buffer.size());
        if (got < 0 && errno != EINTR)
            throw fileError(path);
        if (got == 0)
            return text;
        if (got > 0)
            text.append(buffer.data(), static_cast<size_t>(got));
    }
}

std::string readNamed(const std::string &path) {
    if (path == "-")
        return readAll(STDIN_FILENO, "standard input");
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file < 0)
        throw fileError(path);
    return readAll(file, path);
}

// A file of a host's directory, whose content came from that host: no link is followed and no pipe waited for. None
// when there is no such file.
std::optional<std::string> readFetched(const fs::path &path) {
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file < 0 && errno == ENOENT)
        return std::nullopt;
    if (file < 0 && errno == ELOOP)
        throw std::runtime_error(path.string() + ": is a link, which is not followed");
    struct stat about {};
    if (file < 0 || fstat(file, &about) != 0)
        throw fileError(path);
    if (!S_ISREG(about.st_mode))
        throw std::runtime_error(path.string() + ": not a regular file");
    return readAll(file, path);
}

std::optional<int> statusOf(std::string_view text) {
    while (!text.empty() && isBlank(text.substr(text.size() - 1)))
        text.remove_suffix(1);
    int status = -1;
    const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), status);
    if (error != std::errc() || pEnd != text.data() + text.size() || status < 0 || status > 255)
        return std::nullopt;
    return status;
}

std::string firstLine(const std::string &text) {
    return text.substr(0, text.find('\n'));
}

// What cannot stand in a directory's name is percent-encoded there.
std::string decoded(std::string name) {
    for (size_t at = 0; (at = name.find('%', at)) != std::string::npos; at++) {
        unsigned char code = 0;
        const char *pDigits = name.c_str() + at + 1;
        if (at + 2 < name.size() && std::from_chars(pDigits, pDigits + 2, code, 16).ptr == pDigits + 2)
            name.replace(at, 3, 1, static_cast<char>(code));
    }
    return name;
}

// What cannot be read becomes the reason why the host is unknown.
material fetchedFrom(const fs::path &directory) {
    material given;
    given.name = decoded(directory.filename());
    const auto complain = [&](const std::string &what) {
        if (!given.reason)
            given.reason = what;
    };
    const auto content = [&](const char *pName) -> std::optional<std::string> {
        try {
            return readFetched(directory / pName);
        } catch (const std::runtime_error &error) {
            complain(error.what());
            return std::nullopt;
        }
    };
    if (const auto text = content("reason"); text && !isBlank(*text))
        given.reason = firstLine(*text);
    const auto status = content("status");
    if (status && !(given.status = statusOf(*status)))
        complain("file status holds no exit status");
    given.errors = content("errors").value_or("");
    given.report = content("report");
    if (!given.report && !given.status)
        complain("there is no report");
    return given;
}

std::vector<fs::path> hostDirectories(const fs::path &directory) {
    std::vector<fs::path> found;
    for (const auto &one : fs::directory_iterator(directory))
        if (one.is_directory() && one.path().filename().string()[0] != '.')
            found.push_back(one.path());
    std::sort(found.begin(), found.end());
    return found;
}

std::string ownName() {
    std::array<char, 256> name{};
    return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "localhost";
}

material givenBy(const settings &asked) {
    material given;
    given.name = asked.host ? *asked.host : asked.input == "-" ? ownName() : fs::path(asked.input).filename().string();
    given.status = asked.status;
    given.report = readNamed(asked.input);
    if (asked.errors)
        given.errors = readNamed(*asked.errors);
    return given;
}

// --- Catalogs ---

// Beside the program in a build, in the program's own directory once installed.
fs::path localeDirectory() {
    std::error_code failed;
    const fs::path directory = fs::read_symlink("/proc/self/exe", failed).parent_path();
    for (const char *pBeside : {"locale", "../lib/kvxprereq/locale"})
        if (fs::is_directory(directory / pBeside, failed))
            return directory / pBeside;
    throw std::runtime_error("no message catalogs beside " + directory.string());
}

// --- Writing ---

// A file that is complete when it appears. What is no regular file, such as a pipe, is written to as it is.
class outputFile {
public:
    explicit outputFile(const std::string &path) : target(path), written(path) {
        struct stat about {};
        if (lstat(path.c_str(), &about) != 0 || S_ISREG(about.st_mode)) {
            written += "." + std::to_string(getpid());
            const descriptor file(open(written.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
            if (file < 0)
                throw fileError(target);
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
    std::string target, written;
    std::ofstream stream;
};

std::unique_ptr<writer> makeWriter(const std::string &format, std::ostream &out, bool bColour) {
    if (format == "json")
        return jsonWriter(out);
    if (format == "junit")
        return junitWriter(out);
    if (format == "html")
        return htmlWriter(out);
    return tableWriter(out, bColour);
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

int showHosts(const settings &asked, writer &shown) {
    languages known(localeDirectory());
    int status = exitGood;
    const auto show = [&](const material &given) {
        host one = readHost(given, known);
        status = worse(status, exitStatusOf(one));
        shown.add(std::move(one));
    };
    if (asked.input == "-" || !fs::is_directory(asked.input))
        show(givenBy(asked));
    else {
        if (asked.host || asked.status || asked.errors)
            throw usageError("--host, --status and --errors are for one report; " + asked.input + " is a directory");
        const std::vector<fs::path> directories = hostDirectories(asked.input);
        if (directories.empty())
            throw std::runtime_error(asked.input + (fs::exists(fs::path(asked.input) / "report")
                                                        ? ": is one host's directory; name the one that it lies in"
                                                        : ": has no directory of a host"));
        for (const fs::path &directory : directories)
            show(fetchedFrom(directory));
    }
    shown.finish();
    return status;
}

int run(const settings &asked) {
    if (asked.output.empty()) {
        std::ios::sync_with_stdio(false);
        const bool bColour = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
        const int status = showHosts(asked, *makeWriter(asked.format, std::cout, bColour));
        if (!std::cout.flush())
            throw fileError("standard output");
        return status;
    }
    outputFile file(asked.output);
    const int status = showHosts(asked, *makeWriter(asked.format, file.content(), false));
    file.finish();
    return status;
}

std::string notEmpty(const char *pValue) {
    if (*pValue == '\0')
        throw usageError("an option's value is empty");
    return pValue;
}

settings readCommandLine(int argc, char **argv) {
    enum { FORMAT = 1, OUTPUT, HOST, STATUS, ERRORS, HELP };
    static const std::array<option, 7> options{{{"format", required_argument, nullptr, FORMAT},
                                                {"output", required_argument, nullptr, OUTPUT},
                                                {"host", required_argument, nullptr, HOST},
                                                {"status", required_argument, nullptr, STATUS},
                                                {"errors", required_argument, nullptr, ERRORS},
                                                {"help", no_argument, nullptr, HELP},
                                                {nullptr, 0, nullptr, 0}}};
    static const std::array<std::string_view, 4> formats{"table", "json", "junit", "html"};
    settings asked;
    for (int found = 0; (found = getopt_long(argc, argv, "h", options.data(), nullptr)) != -1;) {
        switch (found) {
        case FORMAT: asked.format = optarg; break;
        case OUTPUT: asked.output = notEmpty(optarg); break;
        case HOST: asked.host = notEmpty(optarg); break;
        case ERRORS: asked.errors = notEmpty(optarg); break;
        case STATUS:
            if (!(asked.status = statusOf(optarg)))
                throw usageError(std::string("no exit status: ") + optarg);
            break;
        case 'h':
        case HELP: std::cout << pUsage; std::exit(exitGood);
        default: throw usageError("");
        }
    }
    if (std::count(formats.begin(), formats.end(), asked.format) == 0)
        throw usageError("no such format: " + asked.format);
    if (argc - optind > 1)
        throw usageError("more than one report");
    if (optind < argc)
        asked.input = argv[optind];
    return asked;
}

} // namespace

int main(int argc, char **argv) {
    try {
        return run(readCommandLine(argc, argv));
    } catch (const usageError &error) {
        if (*error.what() != '\0')
            std::cerr << "kvxprereqreport: " << error.what() << '\n';
        std::cerr << "Try kvxprereqreport --help\n";
    } catch (const std::exception &error) {
        std::cerr << "kvxprereqreport: " << error.what() << '\n';
    }
    return exitUnknown;
}
