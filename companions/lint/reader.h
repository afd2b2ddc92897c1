// Asks the program's own reader what each line does.
#ifndef KVX_LINT_READER_H
#define KVX_LINT_READER_H

#include <string>
#include <string_view>
#include <unordered_map>

#include "sqloPrereqCheck.h"

namespace lint {

struct lineEffect {
    int effect;       // a LineEffect of the program
    int tag;          // the tag that the line names, or -1
    std::string text; // the text that was stored
};

// Reads every section of every level: the clustered feature is on and no tag has a value, so every condition holds. Use
// one at a time, because it uses the program's own table of values.
class lineReader {
public:
    lineReader();
    lineReader(const lineReader &) = delete;
    lineReader &operator=(const lineReader &) = delete;

    void beginLevel(const std::string &level);
    // Takes the next line, without its newline and shorter than PREREQ_LINE_SIZE. A line of a platform section has the
    // same effect everywhere, so the reader remembers it: its text must outlive the reader.
    const lineEffect &take(std::string_view line);
    // Would the line end a section of this tag that the program skips?
    bool endsSkipped(int tag, std::string_view line) const;

    int place() const {
        return reader.place;
    }
    void leave() {
        reader.place = PLACE_BEHIND;
    }

private:
    lineEffect read(std::string_view line);

    prereqReader reader{};
    lineEffect last{};
    std::unordered_map<std::string_view, lineEffect> known; // the effects of lines that were read; files repeat lines
};

} // namespace lint

#endif
