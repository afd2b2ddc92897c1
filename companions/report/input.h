// What lies where the reports of hosts are: files given by name, and the directories of a fetched set of hosts, whose
// contents came from those hosts.
#ifndef KVX_REPORT_INPUT_H
#define KVX_REPORT_INPUT_H

#include "reader.h"

#include <filesystem>

#include "../common/files.h"

namespace report {

using common::descriptor;
using common::fileError;

// A decimal number from 0 to 255, perhaps with blanks around it.
std::optional<int> statusOf(std::string_view text);

// What stands where a host's directory should.
struct hostPlace {
    std::filesystem::path path;
    std::optional<std::string> fault; // why it cannot be one
};

// What a directory of hosts has, in the order of the names. Hidden names are no hosts. Nor are plain files, which go to
// `others`.
std::vector<hostPlace> placesIn(const std::filesystem::path &directory, std::vector<std::filesystem::path> &others);

// Reads a host's files. What cannot be read becomes the reason why the host is unknown.
material fetchedFrom(const hostPlace &place);

} // namespace report

#endif
