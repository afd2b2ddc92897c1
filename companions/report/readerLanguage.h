// The reader's language, and the code set of the reader's terminal.
#ifndef KVX_REPORT_READER_LANGUAGE_H
#define KVX_REPORT_READER_LANGUAGE_H

#include "messages.h"

#include <filesystem>
#include <string>

namespace report {

// The value of the first of LC_ALL, `category` and LANG that is set and not empty; empty where none is.
std::string localeName(const char *pCategory);

// The translation for a locale name, such as "zh_TW" for "zh_HK.UTF-8" and "de" for "de", "de_AT@euro" and "de-AT";
// "en" for English, "C", "POSIX" and an empty name. Empty where the directory of the catalogs has no such language, and
// for a name without a language, such as "@de".
std::string translationFor(const std::string &localeName, const std::filesystem::path &directory);

// The translations in the directory of the catalogs, with English: "de, en, es".
std::string translationsIn(const std::filesystem::path &directory);

// The texts of a translation that translationFor has found. Where they have no catalog, or one that is damaged, they
// are English.
messages openTranslation(const std::string &translation, const std::filesystem::path &directory,
                         const encoder &shownIn);

// The code set that a locale name says or means: "ISO-8859-1" for "de_DE.ISO-8859-1", "iso88591" for "de_DE". UTF-8
// for a name that means none, such as "C".
std::string codeSetOf(const std::string &localeName);

} // namespace report

#endif
