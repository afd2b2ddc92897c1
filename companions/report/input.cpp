#include "input.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace report {

namespace fs = std::filesystem;

// --- Files ---

static std::string readIfRegular(const descriptor &file, const fs::path &path) {
    struct stat about {};
    if (file == -1 || fstat(file, &about) != 0)
        throw fileError(path);
    if (!S_ISREG(about.st_mode))
        throw std::runtime_error(path.string() + ": not a regular file");
    return common::readAll(file, path);
}

std::string readRegularFile(const std::string &path) {
    return readIfRegular(descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)), path);
}

// A file of a host's directory: no link is followed and no pipe waited for. None when there is no such file.
static std::optional<std::string> readFetched(const fs::path &path) {
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file == -1 && errno == ENOENT)
        return std::nullopt;
    if (file == -1 && errno == ELOOP)
        throw std::runtime_error(path.string() + ": is a link, which is not followed");
    return readIfRegular(file, path);
}

std::optional<int> statusOf(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    text = text.substr(0, text.find_last_not_of(blanks) + 1);
    int status = -1;
    const auto [pEnd, error] = std::from_chars(text.data(), text.data() + text.size(), status);
    const bool bDigits = text.find_first_not_of("0123456789") == std::string_view::npos;
    if (error != std::errc() || !bDigits || status > 255)
        return std::nullopt;
    return status;
}

// --- Directories of hosts ---

// Links are followed here: who collects reports makes them.
static hostPlace placeOf(const fs::path &path) {
    std::error_code failed;
    const fs::file_status about = fs::status(path, failed);
    if (fs::is_directory(about))
        return {path, std::nullopt};
    if (about.type() == fs::file_type::not_found)
        return {path, path.string() + ": is a link to nothing"};
    if (failed)
        return {path, path.string() + ": " + failed.message()};
    return {path, path.string() + ": not a directory"};
}

std::vector<hostPlace> placesIn(const fs::path &directory, std::vector<fs::path> &others) {
    std::vector<hostPlace> found;
    std::error_code failed;
    for (const auto &one : fs::directory_iterator(directory)) {
        if (one.path().filename().string()[0] == '.')
            continue;
        if (one.is_regular_file(failed))
            others.push_back(one.path());
        else
            found.push_back(placeOf(one.path()));
    }
    std::sort(found.begin(), found.end(), [](const hostPlace &a, const hostPlace &b) { return a.path < b.path; });
    std::sort(others.begin(), others.end());
    return found;
}

// Decodes the name of a directory: the role percent-encodes characters that a file's name cannot hold.
static std::string decoded(std::string name) {
    for (size_t at = 0; (at = name.find('%', at)) != std::string::npos; at++) {
        unsigned char code = 0;
        const char *pDigits = name.c_str() + at + 1;
        if (at + 2 < name.size() && std::from_chars(pDigits, pDigits + 2, code, 16).ptr == pDigits + 2)
            name.replace(at, 3, 1, static_cast<char>(code));
    }
    return name;
}

static std::string firstLine(const std::string &text) {
    return text.substr(0, text.find('\n'));
}

material fetchedFrom(const hostPlace &place) {
    material given;
    given.name = decoded(place.path.filename());
    given.reason = place.fault; // then there are no files
    const auto complain = [&](const std::string &what) {
        if (!given.reason)
            given.reason = what;
    };
    const auto content = [&](const char *pName) -> std::optional<std::string> {
        try {
            return readFetched(place.path / pName);
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

} // namespace report
