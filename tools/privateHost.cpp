// Makes private hosts: a mount namespace, a tmpfs in it, an overlay of `/` that writes to the tmpfs, the kernel's file
// systems bound into that overlay, and chroot. Every mount vanishes with the last process of the namespace.
#include "privateHost.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <glob.h>
#include <iterator>
#include <net/if.h>
#include <sched.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <tuple>
#include <unistd.h>

namespace fs = std::filesystem;

static const int noHostStatus = 125;
static const int cannotRunStatus = 127;
static const char *const fakesDirectory = "/fakes/";
#ifndef KVX_KEPT_DIRECTORY
#define KVX_KEPT_DIRECTORY "" // where every private host writes for real: the counters of a coverage build
#endif
static const char *const systemPath = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
static const char *const releaseFiles[] = {"/etc/centos-release", "/etc/redhat-release", "/etc/SuSE-release",
                                           "/etc/lsb-release", "/etc/inspur-release"};
static const char *const sanitizerSettings[] = {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS"};

// A file, link or directory on its way from a layer into the host.
struct laidFile {
    std::string path;
    fs::file_type type;
    mode_t mode;
    std::string content; // of a link: what it points to
};

// A layer of the host: its path in the host, and an open descriptor, because its real path is out of reach in the host.
struct writtenLayer {
    std::string place;
    int fd;
};

// The data by which an unchanged file is recognized.
struct fileState {
    dev_t device;
    ino_t inode;
    mode_t mode;
    uid_t owner;
    gid_t group;
    off_t size;
    timespec changed;
};

static std::vector<writtenLayer> writtenLayers;
static std::map<std::string, fileState> rememberedStates;

static void must(bool done, const std::string &what) {
    if (!done)
        throw std::runtime_error(what + ": " + strerror(errno));
}

static std::string readFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

static laidFile readLayerEntry(const fs::path &layer, const fs::directory_entry &entry) {
    const fs::file_status status = entry.symlink_status();
    laidFile file = {"/" + entry.path().lexically_relative(layer).string(), status.type(),
                     static_cast<mode_t>(status.permissions()), ""};
    if (file.type == fs::file_type::symlink)
        file.content = fs::read_symlink(entry.path()).string();
    else if (file.type == fs::file_type::regular)
        file.content = readFile(entry.path().string());
    return file;
}

// Reads the layers before anything is mounted. They are written again inside the host, where a link in a path cannot
// lead out of it. The kernel would refuse them as lower layers of the overlay: they are below `/`, which is a lower
// layer itself.
static std::vector<laidFile> readLayers(const std::vector<std::string> &layers) {
    std::vector<laidFile> files;
    for (const std::string &layer : layers) {
        const fs::path root = fs::canonical(layer);
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root))
            files.push_back(readLayerEntry(root, entry));
    }
    return files;
}

static void layFile(const laidFile &file) {
    fs::create_directories(fs::path(file.path).parent_path());
    if (file.type == fs::file_type::directory) {
        if (fs::create_directory(file.path))
            must(chmod(file.path.c_str(), file.mode) == 0, file.path);
        return;
    }
    fs::remove(file.path);
    if (file.type == fs::file_type::symlink) {
        fs::create_symlink(file.content, file.path);
        return;
    }
    std::ofstream out(file.path, std::ios::binary);
    out << file.content << std::flush;
    must(out.good() && chmod(file.path.c_str(), file.mode) == 0, file.path);
}

static void layFiles(const privateHost &host, const std::vector<laidFile> &fromLayers) {
    for (const char *pRelease : releaseFiles)
        fs::remove(pRelease);
    for (const laidFile &file : fromLayers)
        layFile(file);
    for (const std::string &path : host.removed)
        fs::remove_all(path);
    for (const auto &[path, content] : host.files)
        layFile({path, fs::file_type::regular, content.rfind("#!", 0) == 0 ? 0755U : 0644U, content});
}

// Makes `/` a mount point. In a chroot, such as that of a package builder, `/` may be a plain directory, which cannot
// be made private. So a copy of its mounts becomes the root; the copy is mounted over /proc, so that it belongs to this
// namespace.
static void makeRootMountPoint() {
    enum { CLONE_TREE = 1, RECURSIVE = 0x8000, FROM_DESCRIPTOR = 4 }; // the kernel's; older C libraries lack them
    const long tree = syscall(SYS_open_tree, AT_FDCWD, "/", CLONE_TREE | RECURSIVE);
    must(tree >= 0, "copy of the mounts");
    must(mount(nullptr, "/proc", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private /proc");
    must(syscall(SYS_move_mount, tree, "", AT_FDCWD, "/proc", FROM_DESCRIPTOR) == 0, "mounts over /proc");
    must(fchdir(static_cast<int>(tree)) == 0 && chroot(".") == 0 && chdir("/") == 0, "root of its own");
    close(static_cast<int>(tree));
}

static void leaveNamespaces(const privateHost &host) {
    must(unshare(CLONE_NEWNS | CLONE_NEWUTS | (host.ownNetwork ? CLONE_NEWNET : 0)) == 0, "new namespaces");
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        must(errno == EINVAL, "private mounts");
        makeRootMountPoint();
        must(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    }
    if (!host.hostName.empty())
        must(sethostname(host.hostName.data(), host.hostName.size()) == 0, "host name");
}

static void enableLoopback() {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct ifreq request = {};
    memcpy(request.ifr_name, "lo", sizeof "lo");
    must(fd >= 0 && ioctl(fd, SIOCGIFFLAGS, &request) == 0, "loopback");
    request.ifr_flags |= IFF_UP;
    must(ioctl(fd, SIOCSIFFLAGS, &request) == 0, "loopback");
    close(fd);
}

// Mounts the scratch layer over an existing directory, in this namespace only, so that no directory must be made and
// removed.
static std::string mountScratch(const std::vector<std::string> &binds) {
    for (const std::string place : {"/mnt", "/media", "/srv", "/opt", "/tmp"}) {
        bool bFree = fs::is_directory(place);
        for (const std::string &bind : binds)
            bFree = bFree && (bind + "/").rfind(place + "/", 0) != 0;
        if (!bFree)
            continue;
        must(mount("tmpfs", place.c_str(), "tmpfs", 0, "size=4g,mode=0755") == 0, "scratch layer");
        return place;
    }
    throw std::runtime_error("no directory to mount the scratch layer on");
}

static void watchLayer(const std::string &dir, const std::string &place) {
    const int fd = open(dir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    must(fd >= 0, dir);
    writtenLayers.push_back({place == "/" ? "" : place, fd});
}

// Mounts an overlay of `dir` at the same path below scratch/root. Enters the directory and names it ".", because
// characters of its path could have a meaning in the mount options.
static void overlayDirectory(const std::string &scratch, const std::string &dir) {
    static int number = 0;
    const std::string upper = scratch + "/upper" + std::to_string(number);
    const std::string work = scratch + "/work" + std::to_string(number++);
    const std::string target = scratch + "/root" + dir;
    struct stat st = {};
    must(chdir(dir.c_str()) == 0 && stat(".", &st) == 0, dir);
    fs::create_directories(target);
    must(mkdir(upper.c_str(), 0755) == 0 && mkdir(work.c_str(), 0755) == 0, upper);
    must(chown(upper.c_str(), st.st_uid, st.st_gid) == 0 && chmod(upper.c_str(), st.st_mode & 07777) == 0, upper);
    const std::string options = "lowerdir=.,upperdir=" + upper + ",workdir=" + work;
    must(mount("overlay", target.c_str(), "overlay", 0, options.c_str()) == 0, "overlay of " + dir);
    watchLayer(upper, dir);
}

static void bindDirectory(const std::string &scratch, const std::string &dir) {
    const std::string target = scratch + "/root" + dir;
    fs::create_directories(target);
    must(mount(dir.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0, "bind of " + dir);
}

// Makes /tmp empty, so that a run finds no files of an earlier run or of another user.
static void emptyTmp(const std::string &scratch) {
    const std::string tmp = scratch + "/tmp";
    must(mkdir(tmp.c_str(), 0) == 0 && chmod(tmp.c_str(), 01777) == 0, tmp);
    must(mount(tmp.c_str(), (scratch + "/root/tmp").c_str(), nullptr, MS_BIND, nullptr) == 0, "empty /tmp");
    watchLayer(tmp, "/tmp");
}

static bool isOnRootFileSystem(const std::string &dir) {
    struct stat root = {}, st = {};
    return stat("/", &root) != 0 || stat(dir.c_str(), &st) != 0 || root.st_dev == st.st_dev;
}

// 1 for a directory that the machine has. The overlay copies it to the upper layer with the first change below it, so
// it is not a change itself.
static bool isMachineDirectory(const fs::directory_entry &entry) {
    return entry.symlink_status().type() == fs::file_type::directory &&
           lgetxattr(entry.path().c_str(), "trusted.overlay.origin", nullptr, 0) >= 0;
}

static std::map<std::string, fileState> currentStates() {
    std::map<std::string, fileState> states;
    for (const writtenLayer &layer : writtenLayers) {
        const fs::path root = "/proc/self/fd/" + std::to_string(layer.fd) + "/";
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root)) {
            if (isMachineDirectory(entry))
                continue;
            struct stat st = {};
            must(lstat(entry.path().c_str(), &st) == 0, entry.path());
            const bool bContent = !S_ISDIR(st.st_mode);
            states[layer.place + "/" + entry.path().lexically_relative(root).string()] = {
                st.st_dev,
                st.st_ino,
                st.st_mode,
                st.st_uid,
                st.st_gid,
                bContent ? st.st_size : 0,
                bContent ? st.st_ctim : timespec()};
        }
    }
    return states;
}

static bool isSameState(const fileState &a, const fileState &b) {
    return std::tie(a.device, a.inode, a.mode, a.owner, a.group, a.size, a.changed.tv_sec, a.changed.tv_nsec) ==
           std::tie(b.device, b.inode, b.mode, b.owner, b.group, b.size, b.changed.tv_sec, b.changed.tv_nsec);
}

void enterPrivateHost(const privateHost &host) {
    umask(022);
    const std::vector<laidFile> fromLayers = readLayers(host.layers);
    std::vector<std::string> binds;
    for (const std::string &bind : host.binds)
        binds.push_back(fs::canonical(bind).string());

    leaveNamespaces(host);
    if (host.ownNetwork)
        enableLoopback();
    const std::string scratch = mountScratch(binds);
    overlayDirectory(scratch, "/");
    for (const std::string dir : {"/usr", "/var"})
        if (!isOnRootFileSystem(dir))
            overlayDirectory(scratch, dir);
    emptyTmp(scratch);
    for (const std::string &bind : binds)
        host.bindsWritable ? bindDirectory(scratch, bind) : overlayDirectory(scratch, bind);
    overlayDirectory(scratch, "/dev"); // a program that runs as root may replace /dev/null
    for (const std::string dir : {"/proc", "/sys", KVX_KEPT_DIRECTORY})
        if (!dir.empty())
            bindDirectory(scratch, dir);

    must(chroot((scratch + "/root").c_str()) == 0 && chdir("/") == 0, "chroot");
    layFiles(host, fromLayers);
    rememberHost();
}

void rememberHost() {
    rememberedStates = currentStates();
}

std::set<std::string> filesChangedOnHost() {
    const std::map<std::string, fileState> states = currentStates();
    std::set<std::string> changed;
    for (const auto &[path, state] : states) {
        const auto before = rememberedStates.find(path);
        if (before == rememberedStates.end() || !isSameState(before->second, state))
            changed.insert(path);
    }
    for (const auto &[path, state] : rememberedStates)
        if (states.count(path) == 0)
            changed.insert(path);
    return changed;
}

// Runs `work` in a forked child, which does not run the exit handlers of its parent.
static int runInChild(const std::function<int()> &work) {
    fflush(nullptr);
    const pid_t pid = fork();
    must(pid >= 0, "fork");
    if (pid == 0) {
        int status = noHostStatus;
        try {
            status = work();
        } catch (const std::exception &error) {
            fprintf(stderr, "private host: %s\n", error.what());
        }
        fflush(nullptr);
        _exit(status);
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0)
        must(errno == EINTR, "waitpid");
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int runOnHost(const privateHost &host, const std::function<int()> &work) {
    return runInChild([&] {
        enterPrivateHost(host);
        return work();
    });
}

// Opens a file in memory for the output of a program. Unlike a pipe it does not fill up, and the reader does not have
// to wait for a process that was left behind.
static int openCapture() {
    const int fd = memfd_create("capture", MFD_CLOEXEC);
    must(fd >= 0, "capture");
    return fd;
}

static void writeCapture(int fd, const std::string &text) {
    for (size_t written = 0; written < text.size();) {
        const ssize_t count = write(fd, text.data() + written, text.size() - written);
        must(count > 0, "capture");
        written += static_cast<size_t>(count);
    }
}

static std::string takeCapture(int fd) {
    const std::string text = readFile("/proc/self/fd/" + std::to_string(fd));
    close(fd);
    return text;
}

bool privateHostsPermitted(std::string &why) {
    static int permitted = -1;
    static std::string reason;
    if (permitted < 0) {
        const int fd = openCapture();
        const int status = runInChild([fd] {
            try {
                enterPrivateHost({});
            } catch (const std::exception &error) {
                writeCapture(fd, error.what());
                return noHostStatus;
            }
            return 0;
        });
        reason = takeCapture(fd);
        permitted = status == 0 ? 1 : 0;
    }
    why = reason;
    return permitted == 1;
}

static std::map<std::string, std::string> hostEnvironment(const privateHost &host) {
    std::map<std::string, std::string> env = {{"HOME", "/root"}, {"PATH", systemPath}};
    for (const auto &[path, content] : host.files)
        if (path.rfind(fakesDirectory, 0) == 0)
            env["PATH"] = std::string("/fakes:") + systemPath;
    for (const char *pName : sanitizerSettings)
        if (const char *pSetting = getenv(pName))
            env[pName] = pSetting;
    return env;
}

static int execProgram(const std::vector<std::string> &argv, const std::map<std::string, std::string> &env,
                       const std::string &cwd, int out, int err) {
    std::vector<char *> words;
    for (const std::string &word : argv)
        words.push_back(const_cast<char *>(word.c_str()));
    words.push_back(nullptr);

    must(freopen("/dev/null", "r", stdin) != nullptr, "/dev/null");
    must(dup2(out, STDOUT_FILENO) >= 0 && dup2(err, STDERR_FILENO) >= 0, "dup2");
    must(chdir(cwd.c_str()) == 0, cwd);
    clearenv();
    for (const auto &[name, setting] : env)
        setenv(name.c_str(), setting.c_str(), 1);
    execvp(words[0], words.data());
    fprintf(stderr, "%s: %s\n", words[0], strerror(errno));
    return cannotRunStatus;
}

// Sends the fetched files to the waiting process: path, size and content of each, with a NUL after the first two.
static void sendFiles(const std::vector<std::string> &patterns, int fd) {
    for (const std::string &pattern : patterns) {
        glob_t found = {};
        glob(pattern.c_str(), 0, nullptr, &found);
        for (size_t i = 0; i < found.gl_pathc; i++) {
            const std::string path = found.gl_pathv[i];
            const std::string content = fs::is_regular_file(path) ? readFile(path) : "";
            writeCapture(fd, path + '\0' + std::to_string(content.size()) + '\0' + content);
        }
        globfree(&found);
    }
}

static std::map<std::string, std::string> receiveFiles(const std::string &sent) {
    std::map<std::string, std::string> files;
    for (size_t at = 0; at < sent.size();) {
        const std::string path = sent.c_str() + at;
        at += path.size() + 1;
        const std::string size = sent.c_str() + at;
        at += size.size() + 1;
        files[path] = sent.substr(at, std::stoul(size));
        at += std::stoul(size);
    }
    return files;
}

static std::set<std::string> splitAtNul(const std::string &texts) {
    std::set<std::string> parts;
    for (size_t at = 0; at < texts.size(); at += strlen(texts.c_str() + at) + 1)
        parts.insert(texts.c_str() + at);
    return parts;
}

runResult runProgram(const privateHost &host, const std::vector<std::string> &argv,
                     const std::map<std::string, std::string> &env, const std::string &cwd,
                     const std::vector<std::string> &fetch, const std::function<void()> &afterEnter) {
    std::map<std::string, std::string> wholeEnv = env;
    wholeEnv.merge(hostEnvironment(host));
    const int out = openCapture(), err = openCapture(), sent = openCapture(), changed = openCapture();
    const int status = runOnHost(host, [&] {
        if (afterEnter) {
            afterEnter();
            rememberHost();
        }
        const int programStatus = runInChild([&] { return execProgram(argv, wholeEnv, cwd, out, err); });
        for (const std::string &path : filesChangedOnHost())
            writeCapture(changed, path + '\0');
        sendFiles(fetch, sent);
        return programStatus;
    });
    return {status, takeCapture(out), takeCapture(err), receiveFiles(takeCapture(sent)),
            splitAtNul(takeCapture(changed))};
}

std::pair<std::string, std::string> fakeTool(const std::string &name, const std::string &body) {
    return {fakesDirectory + name,
            "#!/bin/sh\nprintf '%s\\n' \"" + name + " $*\" >> " + fakesDirectory + "log\n" + body + "\n"};
}
