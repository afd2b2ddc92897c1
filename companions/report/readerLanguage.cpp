#include "readerLanguage.h"

#include "sqloPrereqCheck.h"
#include "text.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <set>

namespace report {

namespace fs = std::filesystem;

static const char *const pSourceLanguage = "en";

static bool isPlain(const std::string &localeName) {
    return localeName.empty() || localeName == "C" || localeName == "POSIX";
}

std::string localeName(const char *pCategory) {
    for (const char *pVariable : {"LC_ALL", pCategory, "LANG"})
        if (const char *pValue = std::getenv(pVariable); pValue != nullptr && *pValue != '\0')
            return pValue;
    return "";
}

// The directory of the checker's catalog for a locale name without its code set, such as "zh_TW.big5" for "zh_HK".
static std::string checkersDirectory(const std::string &name) {
    for (const prereqlmap_t &row : prereqLocmap)
        if (name == row.name)
            return row.map;
    return "";
}

static fs::path catalogOf(const std::string &translation, const fs::path &directory) {
    return directory / "catalogs" / translation / "kvxreport.cat";
}

static bool isThere(const std::string &translation, const fs::path &directory) {
    std::error_code failed;
    return fs::is_regular_file(catalogOf(translation, directory), failed);
}

// A name may be that of a page's language too, as "pt-BR". The checker's table knows which translation serves a
// territory: each of its directories is named after a language and a territory.
std::string translationFor(const std::string &localeName, const fs::path &directory) {
    std::string name = localeName.substr(0, localeName.find_first_of(".@"));
    std::replace(name.begin(), name.end(), '-', '_');
    const std::string language = name.substr(0, name.find('_'));
    if (localeName.empty() || language == pSourceLanguage || (!name.empty() && isPlain(name)))
        return pSourceLanguage;
    const std::string served = checkersDirectory(name);
    for (const std::string &candidate : {name, served.substr(0, served.find('.')), language})
        if (candidate.find('/') == std::string::npos && isThere(candidate, directory))
            return candidate;
    return "";
}

std::string translationsIn(const fs::path &directory) {
    std::set<std::string> names{pSourceLanguage};
    std::error_code failed;
    for (const auto &one : fs::directory_iterator(directory / "catalogs", failed))
        if (isThere(one.path().filename(), directory))
            names.insert(one.path().filename());
    std::string list;
    for (const std::string &name : names)
        list += (list.empty() ? "" : ", ") + name;
    return list;
}

messages openTranslation(const std::string &translation, const fs::path &directory, const encoder &shownIn) {
    std::string tag = translation;
    std::replace(tag.begin(), tag.end(), '_', '-');
    return messages(tag, catalogOf(translation, directory), shownIn);
}

std::string codeSetOf(const std::string &localeName) {
    const size_t dot = localeName.find('.');
    if (dot != std::string::npos)
        return localeName.substr(dot + 1, localeName.find('@', dot) - dot - 1);
    const std::string directory = isPlain(localeName) ? "" : checkersDirectory(localeName);
    const size_t end = directory.find('.');
    return end == std::string::npos ? "UTF-8" : directory.substr(end + 1);
}

} // namespace report
