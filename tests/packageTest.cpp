// The packages: what they hold, that they install, run and go without a trace, and where the program in them runs.
#include "support.h"

#include <regex>
#include <set>

using std::vector;

// Cases on a host that sees the packages as $deb, $rpm and $tgz.
struct PackageFiles : testing::Test {
    void SetUp() override {
        useCatalog();
        onHost({}, [] {});
    }
};
typedef PackageFiles Build, Installation, Archive, Starter, PackagedProgram;

static const string packages = KVX_PROGRAM_DIR "/tests/packages";
static const string unpack = "at() { mkdir -p \"$1\"; tar -xzf $tgz -C \"$1\" --strip-components=1; }; ";

static runResult run(const string &script, const std::map<string, string> &env = {}) {
    privateHost host;
    host.layers = {KVX_SOURCE_DIR "/samples/hosts/rhel"};
    host.binds = {KVX_SOURCE_DIR, KVX_PROGRAM_DIR};
    host.files = {{"/in put/levels.xml", "<KVXLevel value=\"7.1\">\n"}};
    const string names = "exec 2>&1; for type in deb rpm; do eval \"$type=$(echo " + packages +
                         "/*.$type)\"; done; tgz=$(echo " + packages + "/*.tar.gz); ";
    return runProgram(host, {"/bin/sh", "-c", names + script}, env);
}

// Runs a command in languages without a translation, in an unknown one and without any.
static const string inLanguages = "for language in en_US.UTF-8 sv_SE.UTF-8 eo.utf8 xx_YY.none ''; do "
                                  "KVXLANG=$language kvxprereqcheck -help; done; ";

static string helpInLanguages() {
    const string help = capture(displayHelp).out;
    return help + help + help + help + help;
}

TEST_F(Build, TakesItsDirectorysNameForNoCode) {
    const string place = "/b/a b'$HOME`touch /ran`(c)";
    const runResult r =
        run("mkdir -p \"$D\"; cd \"$D\"; ln -s " KVX_SOURCE_DIR " source; "
            "{ source/scripts/make-catalogs made && cmake -S source -B build -DKVX_CATALOGS=\"$PWD/made\" "
            "&& cmake --build build --target catalogs installed; } >log || cat log; "
            "ls build/locale build/installed | grep -c 'it_IT.utf8\\|kvxprereqcheck.1.gz'; "
            "cmake --build build --target package 2>/dev/null",
            {{"D", place}});
    EXPECT_TRUE(std::regex_match(r.out, std::regex("2\nNo packages here: .*\n"))) << r.out;
    for (const string &path : r.changed)
        EXPECT_TRUE(place.find(path) == 0 || path.find(place) == 0) << path;
}

TEST_F(Installation, RunsAndGoesWithoutATrace) {
    // rpm does not know which directories of shells dpkg's packages have, and removes those that become empty.
    const std::regex ownRecords("/var/lib/(dpkg|rpm)/.*|/var/log/dpkg.log|/root/.rpmdb(/.*)?"
                                "|/usr/share/(fish|zsh)(/(vendor_completions.d|(site|vendor)-[a-z]*))?");
    const vector<std::pair<string, string>> rows = {
        {"dpkg --no-triggers -i $deb", "dpkg --no-triggers -P kvxprereqcheck"},
        {"rpm -i --nodeps $rpm", "rpm -V --nodeps kvxprereqcheck && rpm -e kvxprereqcheck"}};
    for (const auto &[install, remove] : rows) {
        const string use = inLanguages + "cd '/in put'; kvxprereqcheck -f levels.xml -v 8.1 2>&1 > /dev/null; "
                                         "kvxprereqcheck -f missing.xml > /dev/null 2>&1; echo $?; ";
        const runResult r =
            run(install + " > /log || cat /log; rm /log; " + use + remove + " > /log || cat /log; rm /log");
        const string notes = "rpm: (RPM should|However) [^\n]*\n";
        EXPECT_EQ(std::regex_replace(r.out, std::regex(notes), ""),
                  helpInLanguages() + message(MSG_LEVEL_NOT_IN_FILE, {"8.1"}) + "\n8\n");
        for (const string &path : r.changed)
            EXPECT_TRUE(std::regex_match(path, ownRecords)) << install << " leaves " << path;
    }
}

TEST_F(PackageFiles, AreTheSameAndAllOwnedByRoot) {
    const string directory = "drwxr-xr-x root root ";
    const string file = "-rw-r--r-- root root ";
    const string program = "-rwxr-xr-x root root ";
    const string link = "lrwxrwxrwx root root ";
    const string checker = "lib/kvxprereq/checker";
    std::set<string> lines = {directory + "lib/kvxprereq\n",
                              directory + checker + "\n",
                              program + checker + "/kvxprereqcheck\n",
                              directory + checker + "/locale\n",
                              directory + checker + "/locale/catalogs\n",
                              directory + checker + "/locale/catalogs/*\n",
                              file + checker + "/locale/catalogs/*/kvxistring.cat\n",
                              file + checker + "/locale/catalogs/*/kvxreport.cat\n",
                              link + checker + "/locale/*\n", // none of these is a directory in any version
                              directory + "share/ansible/collections\n",
                              directory + "share/ansible/collections/ansible_collections\n",
                              directory + "share/ansible/collections/ansible_collections/*\n",
                              file + "share/ansible/collections/ansible_collections/*\n",
                              directory + "share/kvxprereq/archives\n",
                              file + "share/kvxprereq/archives/README\n",
                              directory + "share/doc/kvxprereqcheck\n",
                              file + "share/doc/kvxprereqcheck/CHANGES\n",
                              file + "share/doc/kvxprereqcheck/KVXprereqs.xml\n",
                              file + "share/doc/kvxprereqcheck/changelog.gz\n",
                              file + "share/doc/kvxprereqcheck/copyright\n",
                              directory + "share/doc/kvxprereqcheck/examples\n",
                              program + "share/doc/kvxprereqcheck/examples/*\n",
                              directory + "share/doc/kvxprereqcheck/html\n",
                              file + "share/doc/kvxprereqcheck/html/*\n",
                              file + "share/fish/vendor_completions.d/kvxprereqcheck.fish\n",
                              link + "share/fish/vendor_completions.d/kvxprereqlint.fish\n",
                              link + "share/fish/vendor_completions.d/kvxprereqreport.fish\n",
                              file + "share/man/man5/KVXprereqs.xml.5.gz\n",
                              file + "share/zsh/site-functions/_kvxprereqcheck\n",
                              link + "share/zsh/vendor-completions/_kvxprereqcheck\n"};
    for (const string name : {"kvxprereqcheck", "kvxprereqlint", "kvxprereqreport"})
        lines.insert({program + "bin/" + name + "\n", file + "share/bash-completion/completions/" + name + "\n",
                      file + "share/man/man1/" + name + ".1.gz\n"});
    string expected;
    for (const string &line : lines)
        expected += line;
    const string sort =
        "sed -E 's,(/locale/catalogs|/ansible_collections)/[^/]+,\\1/*,; s,(/locale)/[a-z]+[_.][^/]+,\\1/*,' | "
        "sed -E 's,(/ansible_collections/[*]|/(examples|html)/).*,\\1,; s,/(examples|html)/$,&*,' | LC_ALL=C sort -u";
    const string tarLine = "awk '{print $1, $2, $6}' | sed -E 's|/| |; s| [^ /]*(/usr)?/| |; s|/$||' | ";
    const string notShared =
        "grep -vE '^drwxr-xr-x root root (share(/[a-z-]+)?|share/man/man[15]|share/(bash|fish|zsh)[a-z_./-]*"
        "|bin|lib|usr)?$' | ";
    EXPECT_EQ(run("rpm -qlvp $rpm | awk '/^[-ld]/ {print $1, $3, $4, $9}' | sed 's|/usr/||' | " + notShared + sort).out,
              expected);
    EXPECT_EQ(run("dpkg-deb -c $deb | " + tarLine + notShared + sort).out, expected);
    EXPECT_EQ(run("tar -tvzf $tgz | " + tarLine + notShared + sort).out, expected);
}

TEST_F(Archive, WorksWhereverItIsUnpacked) {
    const string link = "ln -s \"$1/bin/kvxprereqcheck\" /usr/local/sbin/ && " + inLanguages;
    for (const string place : {"/opt/x", "/in put/it's \"$HOME\"/*", "/opt/kvxprereqchec/k", "/in put/-n\n"})
        EXPECT_EQ(run(unpack + "set -- \"$PLACE\"; at \"$1\"; " + link, {{"PLACE", place}}).out, helpInLanguages())
            << place;
    EXPECT_EQ(run("cmake --install " KVX_PROGRAM_DIR
                  " --prefix /opt/y > /dev/null; set /opt/y; diff -r --no-dereference " KVX_PROGRAM_DIR
                  "/locale /opt/y/lib/kvxprereq/checker/locale; " +
                  link)
                  .out,
              helpInLanguages());
    EXPECT_EQ(run(unpack + "at /opt/kvxprereqcheck-1/x; PATH=$PATH:/opt/kvxprereqcheck-1/x/bin; "
                           "kvxprereqcheck -help 2>&1 > /out; echo $?; cat /out")
                  .out,
              "kvxprereqcheck: the directory /opt/kvxprereqcheck-1/x must not have \"kvxprereqcheck\" in its path.\n"
              "The program would not find its texts. Install it in another directory.\n2\n");
}

TEST_F(Starter, PassesEverythingOn) {
    const string program =
        "printf '#!/bin/sh\\n"
        "[ \"$*\" != -h ] || exit 0\\n"
        "echo $0 $$ $#; for a; do printf \"<%%s>\" \"$a\"; done; env | sort | grep -v -e ^_ -e ^ASAN\\n"
        "cat; cat <&3; echo out >&4; exit 42\\n' > /opt/x/lib/kvxprereq/checker/kvxprereqcheck; ";
    const string start = "cd /opt; sh -c 'echo $$; exec ./x/bin/kvxprereqcheck "
                         "\"\" -n \"a  b\" \"*\" \"x\ny\" \"\\\\\"' < /3 3< /4 4> /5; echo $? $(cat /5)";
    const runResult r = run(unpack + "at /opt/x; " + program + "echo three > /3; echo four > /4; " + start,
                            {{"self", "mine"}, {"PATH", "/usr/bin:/bin"}});
    const std::regex shape("(\\d+)\n/opt/x/lib/kvxprereq/checker/kvxprereqcheck \\1 6\n<><-n><a  b><\\*><x\ny><\\\\>"
                           "HOME=/root\nOLDPWD=/\nPATH=/usr/bin:/bin\nPWD=/opt\nself=mine\nthree\nfour\n42 out\n");
    EXPECT_TRUE(std::regex_match(r.out, shape)) << r.out;
}

TEST_F(Starter, TellsThatTheProgramCannotBeStarted) {
    const string program = "/opt/x/lib/kvxprereq/checker/kvxprereqcheck";
    for (const string broken : {"printf '\\177ELF' > $p", "rm $p", "printf '#!/bin/sh\\nexit 1' > $p"})
        EXPECT_EQ(run(unpack + "at /opt/x; p=" + program + "; " + broken + "; /opt/x/bin/kvxprereqcheck; echo $?").out,
                  "kvxprereqcheck: " + program +
                      " does not start here: it is missing, or made for another "
                      "architecture or C library.\n2\n")
            << broken;
}

TEST_F(PackagedProgram, NeedsNothingButWhatOldHostsHave) {
    const string file = "at /opt/x; cd /opt/x/lib/kvxprereq/checker; ";
    EXPECT_EQ(run(unpack + file +
                  "readelf -Wd kvxprereqcheck | sed -n 's/.*(NEEDED).*\\[\\(.*\\)\\]/\\1/p' | "
                  "grep -vE '^lib(stdc\\+\\+|m|gcc_s|dl)\\.so'")
                  .out,
              "libc.so.6\n");
    EXPECT_EQ(run(unpack + file + "readelf -WS kvxprereqcheck | grep -c -e symtab -e debug_").out, "0\n");
    const vector<std::pair<string, string>> newest = {{"GLIBC_", "2.34"}, {"GLIBCXX_", "3.4"}, {"CXXABI_", "1.3"}};
    for (const auto &[prefix, version] : newest)
        EXPECT_EQ(run(unpack + file + "{ readelf -WV kvxprereqcheck | grep -o '\\b" + prefix + "[0-9.]*'; echo " +
                      prefix + version + "; } | sort -V | tail -1")
                      .out,
                  prefix + version + "\n");
}
