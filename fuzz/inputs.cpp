// The inputs of fuzz-replay: those of inputs.txt, and others made of the project's files.
#include "fakeHost.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include "sqloPrereqCheck.h"

using std::string;

static string readFile(const string &path) {
    std::ifstream file(KVX_SOURCE_DIR "/" + path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

static const string sample = readFile("samples/KVXprereqs.xml");

// Replaces x*300 and \ooo.
static string expanded(const string &line) {
    static const std::regex escape("(\\S)\\*(\\d{2,})|\\\\([0-7]{3})");
    string all;
    auto rest = line.cbegin();
    for (std::sregex_iterator it(line.begin(), line.end(), escape), end; it != end; ++it) {
        const std::smatch &match = *it;
        all += match.prefix().str();
        if (match[3].matched)
            all += static_cast<char>(std::stoi(match[3], nullptr, 8));
        else
            all.append(std::stoul(match[2]), *match[1].first);
        rest = match[0].second;
    }
    return all.append(rest, line.cend());
}

// Decodes a line of inputs.txt.
static string meaningOf(const string &line) {
    if (line == "--")
        return "\036";
    if (line[0] == '@')
        return readFile(line.substr(1));
    if (!line.empty() && line.back() == '\\')
        return expanded(line.substr(0, line.size() - 1));
    return expanded(line) + "\n";
}

static strings keptInputs(const string &target) {
    std::istringstream in(readFile("fuzz/inputs.txt"));
    strings inputs;
    bool bWanted = false;
    for (string line; std::getline(in, line);)
        if (line.rfind("## ", 0) == 0) {
            bWanted = line.substr(3) == target;
            if (bWanted)
                inputs.emplace_back();
        } else if (bWanted)
            inputs.back() += meaningOf(line);
    return inputs;
}

// Adds an input for each match in a file, between two other texts.
static void addMatches(strings *pInputs, const string &path, const char *pPattern, const string &before,
                       const string &behind) {
    const string content = readFile(path);
    const std::regex pattern(pPattern);
    for (std::sregex_iterator match(content.begin(), content.end(), pattern), end; match != end; ++match)
        pInputs->push_back(before + (*match)[1].str() + behind);
}

strings inputsOf(const string &target) {
    strings inputs = keptInputs(target);
    if (target == "prerequisites")
        addMatches(&inputs, "samples/KVXprereqs.xml", "(<\\w+ value=.*>)", "0 LinuxDistro=RHEL\n1 2 3 RHELVersion 7\n",
                   "\036" + sample);
    if (target == "messages")
        addMatches(&inputs, "locale/en_US.iso88591/kvxistring.msg", "\"(.*)\"", "0\nde_DE 255 one two three\n", "");
    if (target == "run")
        addMatches(&inputs, "engn/sqo/sqloPrereqCheck.cpp", "\"(-[^ \"]+)\"", "0\n/opt/kvx ",
                   " 12.1 -v 12.1\n/opt/kvx\n\036" + sample);
    for (char check = 'a'; target == "checks" && check <= 'z'; check++)
        for (const char *pDecisions : {"0", "1111"})
            inputs.push_back(string(1, check) + pDecisions + "\none /dev/sda two\n4.2\n\0365.1\n");
    for (const prereqlmap_t &row : prereqLocmap)
        if (target == "messages")
            inputs.push_back(string("0\n") + row.name);
    return inputs;
}
