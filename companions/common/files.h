// Reads whole files.
#ifndef KVX_COMMON_FILES_H
#define KVX_COMMON_FILES_H

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace common {

// The name of standard input on a command line.
inline constexpr char standardInput[] = "-";

// An error with a path and errno's words.
inline std::runtime_error fileError(const std::string &path) {
    return std::runtime_error(path + ": " + std::strerror(errno));
}

// A descriptor that closes itself, except those of the standard streams.
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

// Reads an open file to its end. Throws fileError of the path.
inline std::string readAll(int from, const std::string &path) {
    std::string text;
    struct stat about {};
    if (fstat(from, &about) == 0 && S_ISREG(about.st_mode))
        text.reserve(static_cast<std::size_t>(about.st_size)); // so that a large text is not copied while it grows
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t got = read(from, buffer.data(), buffer.size());
        if (got < 0 && errno != EINTR)
            throw fileError(path);
        if (got == 0)
            return text;
        if (got > 0)
            text.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

// Reads the file of a path, or standard input for "-". Throws fileError.
inline std::string readFile(const std::string &path) {
    if (path == standardInput)
        return readAll(STDIN_FILENO, "standard input");
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file < 0)
        throw fileError(path);
    return readAll(file, path);
}

} // namespace common

#endif
