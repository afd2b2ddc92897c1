#include "reader.h"

#include <cstdlib>
#include <new>
#include <string>

namespace lint {

namespace {

constexpr std::size_t MOST_KNOWN = 512; // how many distinct lines are remembered

void takeLine(prereqReader &reader, std::string_view line) {
    if (sqloTakePrereqLine(&reader, std::string(line).c_str()) != RC_OK)
        throw std::bad_alloc();
}

} // namespace

lineReader::lineReader() {
    bShareGrid = 1;
    leave();
}

void lineReader::beginLevel(const std::string &level) {
    sqloBeginPrereqLines(&reader, level.c_str());
}

lineEffect lineReader::read(std::string_view line) {
    takeLine(reader, line);
    lineEffect taken = {reader.effect, reader.tag, {}};
    if (taken.effect == LINE_VALUE) {
        taken.text = ppszPREREQ[taken.tag];
        std::free(ppszPREREQ[taken.tag]);
        ppszPREREQ[taken.tag] = nullptr;
    }
    if (reader.bSkipping) { // the condition is one that no host can meet: read its lines all the same
        reader.bSkipping = 0;
        sqloPopSkipNodeStack();
    }
    return taken;
}

const lineEffect &lineReader::take(std::string_view line) {
    if (place() != PLACE_SECTION)
        return last = read(line);
    const auto found = known.find(line);
    if (found != known.end())
        return found->second;
    last = read(line);
    if (place() == PLACE_SECTION && known.size() < MOST_KNOWN)
        known.emplace(line, last);
    return last;
}

bool lineReader::endsSkipped(int tag, std::string_view line) const {
    prereqReader skipping = reader;
    skipping.place = PLACE_SECTION;
    skipping.bSkipping = 1;
    if (sqloPushToSkipNodeStack(tag) != RC_OK)
        throw std::bad_alloc();
    takeLine(skipping, line);
    if (skipping.effect == LINE_SKIP_ENDS)
        return true;
    sqloPopSkipNodeStack();
    return false;
}

} // namespace lint
