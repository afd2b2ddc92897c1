// The checks for an instance to be: its user's account, its ports, and the umask.
#include "checkSupport.h"

#include <filesystem>
#include <iostream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

using std::string;
namespace fs = std::filesystem;

struct InstanceChecks : testing::Test {
    void SetUp() override {
        onHost({}, [] {});
    }
};

static string answerOn(fileList files, const std::function<void()> &body) {
    files.emplace_back("/etc/nsswitch.conf", "passwd: files\ngroup: files\nservices: files\n");
    return capture([&] { onSoftwareHost(files, body, {}); }).out;
}

// A case is a user, its group ("-": none), and the entries of its home; "suse" and "-sqllib" are settings.
static string profileOf(const string &line) {
    std::istringstream words(line);
    string user, group;
    int checkSqllib = 0;
    words >> user >> group;
    fileList files = {
        {"/etc/passwd", "root:x:0:0:root:/root:/bin/sh\n" + user + ":x:7:8::/home/" + user + ":/bin/sh\n"},
        {"/etc/group", group == "-" ? "root:x:0:\n" : "root:x:0:\n" + group + ":x:8:\n"}};
    linuxDistro = DISTRO_RHEL;
    for (string word; words >> word;)
        if (word == "suse")
            linuxDistro = DISTRO_SUSE;
        else if (word == "-sqllib")
            checkSqllib = 1;
        else
            files.emplace_back("/home/" + user + "/" + word, "");
    return answerOn(files,
                    [&] { std::cout << judged([&] { return sqloValidateUserProfile(user.c_str(), checkSqllib); }); });
}

// A case is a user and what getent does; without that it is the real one. What it was asked and left follows.
static string servedProfileOf(const string &line) {
    const string user = line.substr(0, line.find(' ')), getent = line.substr(user.size());
    fileList files = {fakeTool(getent.empty() ? "none" : "getent", getent)};
    for (const string path : {"/home/u/.bashrc", "/home/u/.profile", "/x/pseudo_user_blocked.out/in"})
        files.emplace_back(path, "");
    linuxDistro = DISTRO_SUSE;
    return answerOn(files, [&] {
        fs::current_path("/x");
        std::cout << judged([&] { return sqloValidateUserProfile(user.c_str(), 0); }) << "\n"
                  << readFile("/fakes/log") << std::flush;
        EXPECT_EQ(system("LC_ALL=C; for file in *; do echo \"$file: $(cat \"$file\" 2>/dev/null)\"; done"), 0);
    });
}

// A case is the service port and the service, and perhaps the first FCM port and the partitions.
static string portsOf(const string &line) {
    std::istringstream words(line);
    string service;
    int port = 0, first = 0, partitions = 0;
    words >> port >> service;
    const int fcmCheck = (words >> first >> partitions) ? 1 : 0;
    const string services =
        "kvxc_inst 50000/tcp\nkvxc_udp 50001/udp\nother 50002/tcp\ntheirs 50003/tcp kvxc_alias\n"
        "first 50004/tcp\nkvxc_second 50004/tcp\nkvxc_abcdefghi 50005/tcp\nlow 4464/tcp\ntop 65535/tcp\n"
        "KVX_inst 60000/tcp\nKVX_inst_1 60001/tcp\nKVX_inst_2 60002/tcp\nKVX_inst_END 60003/tcp\n"
        "KVX_abcdefghijklmno 61000/tcp\n";
    return answerOn({{"/etc/services", services}}, [&] {
        std::cout << judged([&] { return sqloValidatePorts(port, service.c_str(), fcmCheck, first, partitions); });
    });
}

// A case is the mask required, the one that is set, the temporary directory, and what another shell would do instead.
static string umaskOf(const string &line) {
    std::istringstream words(line);
    string required, actual, directory, shell;
    std::getline(words >> required >> actual >> directory, shell);
    fileList files;
    if (!shell.empty())
        files = {{"/bin/sh", "#!/bin/bash\nfor last; do :; done\nfile=${last#*> }\n{" + shell + "; } > ${file%% *}\n"}};
    return answerOn(files, [&] {
        const string file = directory + "." + std::to_string(getpid());
        if (directory == "/blocked")
            fs::create_directory(file);
        setenv("KVXTMPDIR", directory.c_str(), 1);
        umask(static_cast<mode_t>(std::stoi(actual, nullptr, 8)));
        std::cout << judged([&] { return sqloValidateUmsk(required.c_str()); }) << " "
                  << (fs::is_regular_file(file) ? readFile(file) : "");
    });
}

TEST_F(InstanceChecks, AnswerAsExpected) {
    expectCases("instance-users", profileOf);
    expectCases("instance-served-users", servedProfileOf);
    expectCases("instance-ports", portsOf);
    expectCases("instance-umask", umaskOf);
    expectCases("instance-reports", runInShell);
}
