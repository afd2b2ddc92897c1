// The program's own reader, asked what a line does.
#ifndef KVX_LINT_READER_H
#define KVX_LINT_READER_H

#include <string>
#include <string_view>
#include <unordered_map>

#include "sqloPrereqCheck.h"

namespace lint {

struct lineEffect {
    int effect;       // a LineEffect
    int tag;          // that the line names, or -1
    std::string text; // that was stored
};

// Reads every section of every level: the clustered feature is on and no tag has a value, so every condition holds. Use
// one at a time, because it uses the program's own table of values.
class lineReader {
public:
    lineReader();
    ~lineReader();
    lineReader(const lineReader &) = delete;
    lineReader &operator=(const lineReader &) = delete;

    void beginLevel(const std::string &level);
    // A line without its newline, shorter than PREREQ_LINE_SIZE. A platform section's line must outlive the reader: it
    // does the same wherever it stands, so that it is read once.
    const lineEffect &take(std::string_view line);
    // Would the line end a section with this tag that is being skipped?
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
    std::unordered_map<std::string_view, lineEffect> known; // files repeat themselves
};

} // namespace lint

#endif
