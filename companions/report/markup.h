// Escapes texts for JUnit's XML and the page's HTML.
#ifndef KVX_REPORT_MARKUP_H
#define KVX_REPORT_MARKUP_H

#include <string>
#include <string_view>

namespace report {

// A text as the content of an element or of a quoted attribute.
std::string escaped(std::string_view text);

} // namespace report

#endif
