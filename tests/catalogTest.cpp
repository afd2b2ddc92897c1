// Header, calls and catalog in step: the header names every message, the calls give the tokens that the texts show.
#include "support.h"

#include <algorithm>
#include <filesystem>
#include <regex>
#include <set>

using std::regex;
using std::string;

static const char *const pEnglish = KVX_PROGRAM_DIR "/locale/en_US.iso88591/kvxistring.cat";

static std::vector<std::smatch> matches(const string &text, const char *pPattern) {
    const regex pattern(pPattern);
    return {std::sregex_iterator(text.begin(), text.end(), pattern), std::sregex_iterator()};
}

// What stands between the commas outside of quotes and parentheses, up to the parenthesis that closes the text.
static std::vector<string> splitAtCommas(const string &text) {
    std::vector<string> parts(1);
    int depth = 0;
    bool bQuoted = false;
    for (size_t i = 0; i < text.size() && depth >= 0; i++) {
        bQuoted ^= text[i] == '"';
        depth += bQuoted ? 0 : (text[i] == '(') - (text[i] == ')');
        if (text[i] == ',' && depth == 0 && !bQuoted)
            parts.emplace_back();
        else
            parts.back() += text[i];
    }
    return parts;
}

// The most tokens that a call passes for a message, by its name; none for one whose number no call has.
static std::map<string, size_t> tokensOfCalls() {
    const string none;
    std::map<string, size_t> most;
    for (const auto &file : std::filesystem::directory_iterator(KVX_SOURCE_DIR "/engn/sqo")) {
        const string source = readFile(file.path());
        for (const std::smatch &call :
             matches(source, R"(\b(fetchText|logText|reportText|printError|endWithUsage|endWithMessage)\()")) {
            const std::vector<string> arguments = splitAtCommas(call.suffix());
            size_t place = 0;
            while (place < arguments.size() && arguments[place].find("MSG_") == string::npos)
                place++;
            for (const std::smatch &named : matches(place < arguments.size() ? arguments[place] : none, R"(MSG_\w+)"))
                most[named.str()] = std::max(most[named.str()], arguments.size() - 1 - place);
        }
    }
    return most;
}

TEST(Catalog, AgreesWithHeaderAndCalls) {
    const string header = readFile(KVX_SOURCE_DIR "/engn/include/sqloPrereqCheck.h");
    const string source = readFile(KVX_SOURCE_DIR "/locale/en_US.iso88591/kvxistring.msg");
    const std::map<string, size_t> calls = tokensOfCalls();
    EXPECT_GT(calls.size(), 40U);
    std::set<int> numbers, inSource, inCatalog;
    for (const std::smatch &row : matches(header, R"((MSG_\w+) = (\d+), *// (.*))")) {
        const string title = row[1], comment = row[3];
        EXPECT_TRUE(numbers.insert(std::stoi(row[2])).second) << title;
        string text(1200, '\0');
        EXPECT_EQ(sqloRetrieveNLString(std::stoi(row[2]), text.data(), 1200, pEnglish), RC_OK) << title;
        text.resize(text.find('\0'));
        const size_t stated = comment.rfind("none", 0) == 0 ? 0 : splitAtCommas(comment).size();
        size_t room = text.size();
        for (const std::smatch &sign : matches(text, R"(%(\d*))")) {
            ASSERT_EQ(sign.length(), 2) << title; // one digit
            EXPECT_GT(sign[1], "0") << title;
            EXPECT_LE(std::stoul(sign[1]), std::min(stated, calls.count(title) ? calls.at(title) : stated)) << title;
            room += 40;
        }
        EXPECT_LT(room, title.rfind("MSG_USAGE_", 0) == 0 ? 1000U : 256U) << title;
        EXPECT_TRUE(std::regex_match(text, regex("[ -~\n]*[ -~]"))) << title; // ASCII without a newline at the end
    }
    for (const std::smatch &entry : matches(source, "\n(\\d+) \""))
        inSource.insert(std::stoi(entry[1]));
    for (int number = 1; number < 40000; number++) {
        char szText[8];
        if (sqloRetrieveNLString(number, szText, sizeof szText, pEnglish) != RC_MESSAGE_MISSING)
            inCatalog.insert(number);
    }
    EXPECT_EQ(numbers.size(), 136U);
    EXPECT_EQ(inSource, numbers);
    EXPECT_EQ(inCatalog, numbers);
}

TEST(Catalog, StandsInEveryDirectoryOfTheTable) {
    for (const prereqlmap_t &row : prereqLocmap) {
        const string catalog = string(KVX_PROGRAM_DIR "/locale/") + row.map + "/kvxistring.cat";
        EXPECT_TRUE(sqloFileExists(catalog.c_str())) << catalog;
    }
    useCatalog();
    for (const char *pLocale : {"pt_PT.UTF-8", "ru_RU.KOI8-R", "C", "xx_YY"}) {
        setText(szLocale, pLocale);
        EXPECT_EQ(message(MSG_CHECK_PASSED), "   Result: passed") << pLocale;
    }
}
