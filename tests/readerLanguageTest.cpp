// The language of kvxprereqreport's table and page, and the code set of its table.
#include "support.h"

#include "catalog.h"
#include "reader.h"
#include "readerLanguage.h"
#include "writers.h"

#include <regex>
#include <sstream>

using report::encoder;
using report::english;
using report::messages;

// --- Texts ---

struct sourceRow {
    string tokens;
    string name;
    string text;
};

// The rows of a source by their numbers. Lines that a backslash continues are one.
static std::map<int, sourceRow> rowsOf(const string &path, const char *pPattern, const char *pFormat) {
    const string source = std::regex_replace(readFile(path), std::regex("\\\\\n"), "");
    const std::regex pattern(pPattern);
    std::map<int, sourceRow> rows;
    for (std::sregex_iterator match(source.begin(), source.end(), pattern), end; match != end; ++match) {
        std::istringstream row(match->format(pFormat));
        int number = 0;
        row >> number;
        std::getline(row >> rows[number].name >> std::ws, rows[number].tokens);
        std::getline(row, rows[number].text);
    }
    return rows;
}

static std::map<int, sourceRow> rowsOfProgram() {
    return rowsOf(KVX_SOURCE_DIR "/companions/report/messages.h", " (\\w+) = (\\d+), +// ([^\n]*)", "$2 $1 $3");
}

// A text with its placeholders as they are.
static string textOf(const messages &texts, int number) {
    return texts.text(static_cast<report::Message>(number), {"%1", "%2", "%3", "%4", "%5", "%6", "%7", "%8", "%9"});
}

TEST(ReaderLanguage, HasEachTextInProgramAndCatalog) {
    const auto program = rowsOfProgram();
    const auto catalog = rowsOf(KVX_SOURCE_DIR "/locale/en_US.iso88591/kvxreport.msg",
                                "\n\\$ (\\w+): ([^\n]*)\n(?:\\$[^\n]*\n)*(\\d+) \"([^\n]*)\"", "$3 $1 $2\n$4");
    EXPECT_GT(program.size(), 100U);
    EXPECT_EQ(program.size(), catalog.size());
    for (const auto &[number, row] : catalog) {
        ASSERT_EQ(program.count(number), 1U) << number;
        EXPECT_EQ(program.at(number).name, row.name) << number;
        EXPECT_EQ(program.at(number).tokens, row.tokens) << number;
        EXPECT_EQ(textOf(english(), number), std::regex_replace(row.text, std::regex("\\\\(.)"), "$1")) << number;
    }
}

// Compiles texts into a catalog. For gencat all bytes are characters.
static string catalogOf(const scratchDirectory &directory, const std::map<int, string> &texts) {
    string source = "$ codeset=ISO-8859-1\n$set 1\n$quote \"\n";
    for (const auto &[number, text] : texts)
        source += std::to_string(number) + " \"" + text + "\"\n";
    writeFile(directory.path + "/texts", source);
    const string catalog = directory.path + "/catalog";
    EXPECT_EQ(system(("gencat " + catalog + " " + directory.path + "/texts").c_str()), 0);
    return catalog;
}

TEST(ReaderLanguage, StaysEnglishWhereATextCannotBeShown) {
    const encoder utf8("utf8");
    const scratchDirectory directory;
    const string catalog =
        catalogOf(directory, {{102, ""}, {103, "%1"}, {104, "no token"}, {105, "%2"}, {106, "\xff"}, {107, "\u65e5"}});
    const messages texts("ja", catalog, utf8);
    EXPECT_EQ(textOf(texts, 103), "%1");
    for (const int number : {102, 104, 105, 106})
        EXPECT_EQ(textOf(texts, number), textOf(english(), number));
    EXPECT_EQ(textOf(texts, 107), "\u65e5");
    EXPECT_EQ(textOf(messages("ja", catalog, encoder("iso88591")), 107), "unknown");
    EXPECT_EQ(texts.languageTag(), "ja");
    EXPECT_EQ(messages("ja", directory.path + "/none", utf8).languageTag(), "en");
    EXPECT_EQ(report::readCatalog(catalog, 104, 105), (std::map<int, string>{{104, "no token"}, {105, "%2"}}));
    const string bytes = readFile(catalog);
    // the first three numbers as a host writes them whose bytes are in the other order
    string swapped = bytes;
    for (size_t at = 0; at < 12; at += 4)
        std::reverse(swapped.begin() + at, swapped.begin() + at + 4);
    writeFile(catalog, swapped);
    EXPECT_EQ(report::readCatalog(catalog, 107, 107)[107], "\u65e5");
    for (size_t length = 0; length < bytes.size(); length++) {
        writeFile(catalog, bytes.substr(0, length));
        const messages torn("ja", catalog, utf8);
        const string text = textOf(torn, 103);
        EXPECT_TRUE(text == "%1" || text == "Prerequisites: %1") << length << text;
        EXPECT_EQ(textOf(torn, 107), "unknown") << length; // the last text of the file
    }
}

// --- Table and page ---

static string shown(std::unique_ptr<report::writer> writer, const std::ostringstream &out, report::host host) {
    writer->add(std::move(host));
    writer->finish();
    return out.str();
}

// A report that was cut off, with a failed check and an open one.
static report::host cutHost() {
    useCatalog();
    const string text =
        "\n" + string(74, '=') + "\n\nSun Nov 22 01:00:00 2026\n" +
        message(MSG_LEVEL_BANNER_CLUSTERED, {"12.1", "Linux"}) + "\n   \n" + message(MSG_CHECK_HEADING, {"umask"}) +
        "\n" + message(MSG_REQUIRED_WITH_RELEASE, {"UMASK", "022"}) + "\n" +
        message(MSG_CHECK_FAILED, {message(MSG_SEVERITY_ERROR)}) + "\n" + message(MSG_CHECK_HEADING, {"open"}) + "\n";
    report::languages known(KVX_PROGRAM_DIR "/locale");
    return readHost({"db1", text, "", 137, {}}, known);
}

// Each text of the translation is its number in wide characters, with the placeholders of the English text.
TEST(ReaderLanguage, ReplacesEachTextOfTableAndPage) {
    const report::host host = cutHost();
    std::map<int, string> wide;
    for (const auto &[number, row] : rowsOfProgram()) {
        wide[number] = "\u65e5\u672c\u8a9e" + std::to_string(number);
        for (const char digit : string("12345"))
            if (textOf(english(), number).find(string("%") + digit) != string::npos)
                wide[number] += string(" %") + digit;
    }
    const scratchDirectory directory;
    const string catalog = catalogOf(directory, wide);
    const encoder utf8("utf8");
    const encoder eucJP("eucJP");
    const messages texts("ja", catalog, utf8);
    std::ostringstream out;
    const string table = shown(report::tableWriter(out, false, texts, utf8), out, host);
    std::ostringstream pageOut;
    const string page = shown(report::htmlWriter(pageOut, texts), pageOut, host);
    for (const auto &[number, row] : rowsOfProgram()) {
        const string text = textOf(english(), number);
        if (text.find(' ') == string::npos || text.find('%') != string::npos)
            continue; // a word may stand in a report, and a text with tokens is not found as a whole
        EXPECT_EQ(table.find(text), string::npos) << text;
        EXPECT_EQ(page.find(">" + text + "<"), string::npos) << text;
    }
    std::istringstream lines(table);
    for (string line; std::getline(lines, line);)
        EXPECT_LE(report::columns(line), 80U) << line;
    EXPECT_NE(page.find("<html lang=\"ja\">"), string::npos);
    EXPECT_NE(page.find("<section id=\"advice-1\">"), string::npos); // which no list gives
    // The words of the counts are not those of a result.
    for (const report::Message counted : {report::Message::failedHosts, report::Message::unknownHosts}) {
        const string word = wide[static_cast<int>(counted)];
        EXPECT_EQ(page.find(word), page.rfind(word)) << word;
    }
    EXPECT_NE(page.find("<b lang=\"en-US\">umask"), string::npos);
    EXPECT_NE(page.find("<li>" + wide[208].substr(0, 12) + " 022"), string::npos);
    // the umask check asks for a greatest mask
    EXPECT_NE(table.find(wide[208].substr(0, 12) + " 022"), string::npos) << table;
    std::ostringstream encoded;
    const string other = shown(report::tableWriter(encoded, false, texts, eucJP), encoded, host);
    EXPECT_EQ(report::codeSet("eucJP").toUtf8(other), table);
}

// --- Whose language ---

TEST(ReaderLanguage, ComesFromOptionOrEnvironment) {
    const scratchDirectory prefix;
    const string install = "cd '" + prefix.path +
                           "' && mkdir -p bin lib/kvxprereq/checker && cp '" KVX_PROGRAM_DIR
                           "/kvxprereqreport' bin && cp -RP '" KVX_PROGRAM_DIR "/locale' lib/kvxprereq/checker";
    ASSERT_EQ(system(install.c_str()), 0);
    const char *rows[][3] = {
        {"LANG=de_AT.UTF-8", "", "de"},
        {"LANG=de_DE LC_MESSAGES=fr_CA", "", "fr"},
        {"LC_MESSAGES=fr_FR LC_ALL=ja_JP.eucJP", "", "ja"},
        {"LC_ALL= LANG=it", "", "it"},
        {"LANG=zh_HK.UTF-8", "", "zh-TW"}, // as the checker's table has it
        {"LANG=zh_SG", "", "zh-CN"},
        {"LANG=pt_PT.UTF-8", "", "en"},
        {"LANG=../checker/locale/catalogs/de", "", "en"},
        {"LANG=ko_KR", "--language=pt-BR", "pt-BR"},
        {"LANG=ko_KR", "--language=POSIX", "en"},
    };
    for (const auto &[pEnvironment, pOption, pExpected] : rows) {
        const string command = string("env -i ") + pEnvironment + " '" + prefix.path +
                               "/bin/kvxprereqreport' --format=html " + pOption + " /dev/null";
        const string page = capture([&] { (void)!system(command.c_str()); }).out;
        EXPECT_NE(page.find(string("<html lang=\"") + pExpected + "\">"), string::npos) << command;
    }
    const string unknown = prefix.path + "/bin/kvxprereqreport --language=xx /dev/null";
    EXPECT_NE(capture([&] { (void)!system(unknown.c_str()); }).err.find("no such language: xx (there are de, en, es"),
              string::npos);
}

TEST(ReaderLanguage, IsWrittenInTheCodeSetOfTheLocale) {
    EXPECT_EQ(report::codeSetOf("de_DE.ISO-8859-1"), "ISO-8859-1");
    EXPECT_EQ(report::codeSetOf("de_DE.UTF-8@euro"), "UTF-8");
    EXPECT_EQ(report::codeSetOf("de_DE@euro"), "iso885915");
    EXPECT_EQ(report::codeSetOf("C"), "UTF-8");
    EXPECT_EQ(encoder("ISO-8859-1").encode("\u00e4\u201e\u65e5"), "\xe4,,?");
    EXPECT_EQ(encoder("none").encode("\u00e4"), "\u00e4");
    // a character that could combine with a next one
    EXPECT_EQ(encoder("BIG5-HKSCS").encode("\u00ca"), "\x88\x66");
    const report::codeSet japanese("eucJP");
    EXPECT_EQ(japanese.toUtf8("\xa4\xa2\xff"
                              "A"),
              "\u3042\\xFFA");
    EXPECT_TRUE(japanese.holds("\xa4\xa2"));
    EXPECT_FALSE(japanese.holds("\xff"));
}
