// Checks the translations: the catalogs in every directory that a locale name can lead to.
#include "support.h"

#include "catalog.h"

#include <filesystem>
#include <iconv.h>
#include <nl_types.h>
#include <regex>
#include <set>

namespace fs = std::filesystem;
typedef std::map<int, string> numberedTexts;

static numberedTexts textsOf(const string &directory) {
    numberedTexts texts;
    const nl_catd catalog = catopen((directory + "/kvxistring.cat").c_str(), NL_CAT_LOCALE);
    EXPECT_NE(catalog, reinterpret_cast<nl_catd>(-1)) << directory;
    for (int number = 30000; number < 34000; number++)
        if (const char *pText = catgets(catalog, 1, number, nullptr))
            texts[number] = pText;
    catclose(catalog);
    return texts;
}

// Converts a text to another code set. Returns an empty text if that is not possible.
static string converted(const string &given, const string &from, const string &to) {
    const iconv_t conversion = iconv_open(to.c_str(), from.c_str());
    EXPECT_NE(conversion, reinterpret_cast<iconv_t>(-1)) << from << " to " << to;
    string text = given;
    string result(4 * given.size() + 16, '\0');
    char *pFrom = text.data();
    char *pTo = result.data();
    size_t left = text.size();
    size_t room = result.size();
    if (iconv(conversion, &pFrom, &left, &pTo, &room) == static_cast<size_t>(-1))
        room = result.size();
    iconv_close(conversion);
    result.resize(result.size() - room);
    return result;
}

static string codeSetOf(const string &directory) {
    const string name = directory.substr(directory.find('.') + 1);
    const std::map<string, string> otherNames = {{"utf8", "UTF-8"}, {"cp943", "IBM943"}, {"cp1386", "GBK"}};
    const auto other = otherNames.find(name);
    return other == otherNames.end() ? name : other->second;
}

// Returns the per-cent signs of a text, each with its number or the character behind it.
static std::multiset<string> placeholders(const string &text, bool bOnce) {
    static const std::regex sign("%(\\d*|.)");
    std::multiset<string> found;
    for (std::sregex_iterator i(text.begin(), text.end(), sign); i != std::sregex_iterator(); ++i)
        if (!bOnce || found.count(i->str()) == 0)
            found.insert(i->str());
    return found;
}

// Returns the language of a directory: the name of its source's directory.
static string languageOf(const string &directory) {
    for (const auto &entry : fs::directory_iterator(KVX_SOURCE_DIR "/locale")) {
        const string language = entry.path().filename();
        if (entry.is_directory() && std::regex_match(directory, std::regex(language + "[._].*")))
            return language;
    }
    return "English";
}

TEST(Languages, EveryDirectoryHasAllTextsInItsCodeSet) {
    const string locales = KVX_PROGRAM_DIR "/locale/";
    const numberedTexts english = textsOf(locales + "en_US.iso88591");
    std::map<string, numberedTexts> whole; // a language in UTF-8
    std::set<string> directories;
    for (const prereqlmap_t &row : prereqLocmap)
        directories.insert(row.map);
    for (const string &directory : directories) {
        const numberedTexts texts = textsOf(locales + directory);
        const string language = languageOf(directory);
        const string codeSet = codeSetOf(directory);
        if (language == "English") {
            EXPECT_EQ(texts, english) << directory;
            continue;
        }
        if (whole[language].empty())
            whole[language] = textsOf(locales + directory.substr(0, directory.find('.')) + ".utf8");
        ASSERT_EQ(texts.size(), english.size()) << directory;
        size_t same = 0;
        for (const auto &[number, text] : texts) {
            const string expected = converted(whole[language][number], "UTF-8", codeSet);
            const string where = directory + " ";
            EXPECT_EQ(placeholders(text, true), placeholders(english.at(number), true)) << where << number;
            EXPECT_NE(converted(text, codeSet, "UTF-8"), "") << where << number;
            if (!expected.empty())
                EXPECT_EQ(text, expected) << where << number;
            same += text == english.at(number);
        }
        EXPECT_LT(same, english.size() / 4) << directory;
    }
}

TEST(Languages, TableOfLocalesHoldsTogether) {
    std::set<string> names;
    std::set<string> rows;
    std::map<string, string> directories;
    for (const prereqlmap_t &row : prereqLocmap) {
        const string locale = row.name;
        const string map = row.map;
        const string encode = row.encode;
        EXPECT_TRUE(names.insert(locale).second) << locale << " stands twice";
        EXPECT_EQ(map.substr(0, map.find('.')), row.shortmap) << locale;
        EXPECT_EQ(map.find(".utf8") != map.npos, encode == "UTF8") << locale;
        const string language = locale.substr(0, locale.find_first_of("_.@"));
        const string territory = language == "zh" || language == "pt" ? row.shortmap : "";
        EXPECT_EQ(directories.emplace(language + territory + encode, map).first->second, map) << locale;
        rows.insert(locale + " " + map + " " + std::to_string(row.cs) + " " + encode + " " + row.shortmap);
    }
    for (const char *pRow : {"ES_AR.UTF8 es_ES.utf8 2 UTF8 es_ES", "ja_JP.EUCJP ja_JP.eucJP 2 EUCJIS ja_JP",
                             "en_US.UTF8 en_US.iso88591 2 ASCII en_US", "ar_EG.ISO88596 ar_AA.iso88596 1 8859_6 ar_AA"})
        EXPECT_EQ(rows.count(pRow), 1U) << pRow;
    for (int c = 0; c < 256; c++)
        EXPECT_EQ(sqlocmap2[c], c >= 'a' && c <= 'z' ? c - 32 : c);
}

// Each row has two locales of one language, and the code set of the second.
TEST(Languages, AUserGetsHisOwn) {
    const string ask = "cd '" KVX_PROGRAM_DIR "' && ./kvxprereqcheck -help";
    const auto helpIn = [&](const string &locale) {
        return capture([&] { (void)!system(("export KVXLANG=" + locale + "; " + ask).c_str()); }).out;
    };
    const string english = helpIn("C");
    EXPECT_NE(english.find("-partitions"), string::npos);
    const char *rows[][3] = {
        {"de_DE.UTF-8", "de_DE", "ISO-8859-1"},       {"de_AT.utf8", "de_CH.CP850", "CP850"},
        {"de_LU.UTF-8", "de_DE@euro", "ISO-8859-15"}, {"fr_FR.UTF-8", "fr_CA.CP863", "CP863"},
        {"es_MX.UTF-8", "es_AR.cp1252", "CP1252"},    {"it_IT.UTF-8", "it_CH.ISO-8859-1", "ISO-8859-1"},
        {"pt_BR.UTF-8", "pt_BR", "ISO-8859-1"},       {"ja_JP.UTF-8", "ja_JP.eucJP", "EUC-JP"},
        {"ja_JP.utf8", "ja_JP.SJIS", "SHIFT_JIS"},    {"ko_KR.UTF-8", "ko_KR.EUC-KR", "EUC-KR"},
        {"zh_CN.UTF-8", "zh_SG.GBK", "GBK"},          {"zh_SG.UTF-8", "zh_CN.GB18030", "GB18030"},
        {"zh_TW.UTF-8", "zh_TW.Big5", "BIG5"},        {"zh_HK.UTF-8", "zh_HK", "BIG5-HKSCS"}};
    for (const auto &[pWhole, pOther, pCodeSet] : rows) {
        EXPECT_TRUE(helpIn(pWhole) != english) << pWhole;
        EXPECT_TRUE(converted(helpIn(pOther), pCodeSet, "UTF-8") == helpIn(pWhole)) << pOther;
    }
    for (const char *pLocale : {"pt_PT.UTF-8", "de", "de_US.UTF-8", "zh_MO.UTF-8", "sv_SE.UTF-8"})
        EXPECT_TRUE(helpIn(pLocale) == english) << pLocale;
}

// A project of two texts and a usage text, with a translation for xx_AA in three code sets.
struct smallProject {
    scratchDirectory directory;
    string errors;

    explicit smallProject(const string &translation, const string &glossary = "", const string &ofReports = "") {
        writeFile(directory.path + "/engn/sqo/sqloLocaleTable.cpp",
                  "{\"\", \"en_US.iso88591\",\n{\"\", \"xx_AA.utf8\",\n{\"\", \"xx_AA.iso88591\",\n"
                  "{\"\", \"xx_AA.iso885915\",\n{\"\", \"xx_AA.none\",\n{\"\", \"xxx_AA.utf8\",\n");
        writeFile(
            directory.path + "/locale/en_US.iso88591/kvxistring.msg",
            "30053 \"%1 is %2\"\n30054 \"passed\"\n$ MSG_X: path, host\n30056 \"%1%2\"\n30102 \"  -a    first\\n   -b   \\\nsecond\"\n");
        writeFile(directory.path + "/CMakeLists.txt", "project(small VERSION 2.5 LANGUAGES CXX)\n");
        writeFile(directory.path + "/locale/xx/kvxistring.msg", translation);
        writeFile(directory.path + "/locale/xx/glossary", glossary);
        writeFile(directory.path + "/locale/en_US.iso88591/kvxreport.msg", "101 \"run `a -b`, `c` on %1\"\n");
        writeFile(directory.path + "/locale/xx/kvxreport.msg", ofReports);
        const string make = "cd " + directory.path +
                            " && mkdir scripts && cp '" KVX_SOURCE_DIR "/scripts/make-catalogs' scripts && "
                            "scripts/make-catalogs out";
        int status = 0;
        errors = capture([&] { status = system(make.c_str()); }).err;
        EXPECT_EQ(fs::exists(directory.path + "/out"), status == 0) << errors;
    }
    string text(const string &locale, int number) const {
        return textsOf(directory.path + "/out/" + locale)[number];
    }
};

static bool holds(const string &text, const string &part) {
    return text.find(part) != string::npos;
}

TEST(Languages, WhatTheProgramCouldNotShowStopsTheBuild) {
    const string most(135, 'x');
    for (const auto &[translation, error] : std::vector<std::pair<string, string>>{
             {"30053 \"%2\"", "xx, message 30053: shows other tokens than the English text, which has: %1 %2"},
             {"30053 \"%2 %10\"", "xx, message 30053: a digit follows a placeholder"},
             {"30054 \"100% met\"", "xx, message 30054: a per-cent sign that begins no placeholder"},
             {"30054 \"x\\n\"", "xx, message 30054: ends in a newline"},
             {"30054 x", "xx, message 30054: the text is not in quotation marks"},
             {"30055 \"x\"", "xx, message 30055: is not among the English ones"},
             {"30053 \"%1%2\"", "xx, message 30054: its line can be one of message 30053: \"%1%2\""},
             {"30054 \"x\"\n30054 \"y\"", "xx, message 30054: appears twice"},
             {"30102 \"  -a     first\"",
              "message 30102: a word begins in column 9, where none does in the English text"},
             {"30102 \"  日   first\"",
              "message 30102: a word begins in column 7, where none does in the English text"},
             {"30102 \"" + most.substr(0, 80) + "\"", "message 30102: a line is 80 columns wide, more than 79"},
             {"30053 \"" + most + most.substr(0, 37) + "%1%2\"",
              "xx in UTF-8, message 30053: 256 bytes with its tokens, 1 too many"},
             // A path takes 150 bytes and a host 64.
             {"30056 \"" + most.substr(0, 38) + "%1%2\"", "message 30056: 256 bytes with its tokens, 1 too many"},
             {"30054 \"" + most + most.substr(0, 119) + "é\"",
              "xx in UTF-8, message 30054: 256 bytes with its tokens, 1 too many"},
             {"30054 \"日\"", "xx in iso88591, message 30054: the code set lacks 日; write \"$ plainer: 日 = ...\""},
             {"30054 \"\xe9\"", "kvxistring.msg is not UTF-8"}})
        EXPECT_PRED2(holds, smallProject(translation + "\n").errors, error) << translation;
}

TEST(Languages, PlainerSpellingsAndEnglishStandIn) {
    const smallProject project("$ plainer: € = EUR\n$ plainer: „ = \\\"\n$ stays English in: none\n"
                               "30053 \"%2: %1\"\n30054 \"„€\\\\é\"\n");
    EXPECT_EQ(project.errors, "");
    EXPECT_EQ(project.text("xx_AA.utf8", 30054), "„€\\é");
    EXPECT_EQ(project.text("xx_AA.iso885915", 30054), "\"\xa4\\\xe9");
    EXPECT_EQ(project.text("xx_AA.iso88591", 30054), "\"EUR\\\xe9");
    EXPECT_EQ(project.text("xx_AA.utf8", 30053), "%2: %1");
    EXPECT_EQ(project.text("xx_AA.utf8", 30102), "  -a    first\n   -b   second");
    for (const char *pLocale : {"xx_AA.none", "xxx_AA.utf8", "en_US.iso88591"})
        EXPECT_EQ(project.text(pLocale, 30054), "passed") << pLocale;
    // The text below the mark is ignored; the next one counts again.
    const smallProject marked("$ to do\n30054 \"%9\"\n30053 \"%2: %1\"\n");
    EXPECT_EQ(marked.errors, "make-catalogs: xx: texts to do, which stay English: 1\n"
                             "make-catalogs: iconv does not know none; xx_AA.none stays English\n");
    EXPECT_EQ(marked.text("xx_AA.utf8", 30054), "passed");
    EXPECT_EQ(marked.text("xx_AA.utf8", 30053), "%2: %1");
}

// Commands are in backticks. A text has no limit, and is in UTF-8 whatever the code sets of the language lack.
TEST(Languages, TextsOfTheReportReaderKeepTheirCommands) {
    const string other = "xx, message 101: shows other commands than the English text, which has: `a -b` `c`";
    EXPECT_PRED2(holds, smallProject("", "", "101 \"`a -d` `c` %1\"\n").errors, other);
    EXPECT_PRED2(holds, smallProject("", "", "101 \"`a -b` %1\"\n").errors, other);
    EXPECT_PRED2(holds, smallProject("", "", "101 \"`a -b` `c %1\"\n").errors, "a backtick without a second one");
    const string longText = "%1: `c`, `a -b` 日" + string(1000, 'x');
    const smallProject project("", "", "101 \"" + longText + "\"\n");
    EXPECT_EQ(report::readCatalog(project.directory.path + "/out/catalogs/xx/kvxreport.cat", 101, 101)[101], longText);
}

TEST(Languages, AWordThatTheGlossaryDoesNotWantStopsTheBuild) {
    const string glossary = "$ Comment\n\nservice | Dienst | Service, *amt\nservice pack | Service Pack |\n"
                            "passed | bestanden | (geprüft)\nhost | 主机 | 主\n";
    for (const char *pText :
         {"30054 \"x\\nService\"", "30054 \"Ein Service.\"", "30054 \"Service Pack, SERVICE\"", "30054 \"Postamt\"",
          "30054 \"„geprüft“\"", "$ stays English in: iso88591 iso885915\n30054 \"公主\""})
        EXPECT_PRED2(holds, smallProject(pText, glossary).errors, "xx, message 30054: for \"") << pText;
    // Part of a word, an option, a wanted word, a text without the term, the English text.
    const smallProject good("30053 \"%1 Services -service %2 geprüft\"\n30054 \"Service Pack\"\n",
                            glossary + "is|x|passed\n");
    EXPECT_EQ(good.text("xx_AA.utf8", 30054), "Service Pack");
    EXPECT_PRED2(holds, smallProject("", "term | word\n").errors, "xx, glossary line 1: not \"term | words to use");
}
