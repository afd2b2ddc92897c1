// Reads the files with the reports of hosts: files given by name, and a directory with a directory for each host, whose
// contents come from that host.
#ifndef KVX_REPORT_INPUT_H
#define KVX_REPORT_INPUT_H

#include "reader.h"

#include <filesystem>

#include "../common/files.h"

namespace report {

using common::descriptor;
using common::fileError;

// Reads a file whose name the user gave, also through a link. Throws std::runtime_error, also for a pipe and the like.
std::string readRegularFile(const std::string &path);

// A decimal number from 0 to 255, perhaps with blanks around it.
std::optional<int> statusOf(std::string_view text);

// A name in the place of a host's directory.
struct hostPlace {
    std::filesystem::path path;
    std::optional<std::string> fault; // why it cannot be the directory of a host
};

// The hosts in a directory, in the order of their names. Ignores hidden names. Plain files are not hosts and go to
// `others`.
std::vector<hostPlace> placesIn(const std::filesystem::path &directory, std::vector<std::filesystem::path> &others);

// Reads the files of a host. When one cannot be read, that is the reason why the host is unknown.
material fetchedFrom(const hostPlace &place);

} // namespace report

#endif
