#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <list>
#include <string>
#include <vector>

namespace cbl {

/// Called with an entry's path (directory, "/", name) and its own record: a symbolic link is reported as a link.
using DirectoryVisitor = std::function<void(const std::string& path, const struct stat64& entry)>;

/// Shows every entry of `directory` but "." and ".." to `visitor`, in the order the system lists them, a directory
/// before what is in it; links are never followed. The visitor sees the directory as it changes meanwhile.
/// Result: 0; -1 no visitor; -2 the directory cannot be opened; -3 an entry cannot be examined (the walk stops);
/// -4 a walk further down failed (its code is printed on standard output, and the walk stops).
std::int32_t listDir64(const std::string& directory, bool recursive, const DirectoryVisitor& visitor);

/// Replaces `files` by the paths of all regular files below `directory` whose path ends, case-sensitively, in one of
/// `extensions` (all of them when there are none). Trailing "/" of the directory are dropped first.
/// Result: `listDir64`'s.
std::int32_t listAllFiles(std::string directory, std::list<std::string>& files,
                          const std::vector<std::string>& extensions);

/// Creates every missing level of `path`, with mode 0755.
/// Result: 1 when the directory is there (or a file stands at the path's end: that it exists is all that is asked of
/// the last level too); 0 for an empty path or a failure (printed on standard output).
std::int32_t makeDirs(const std::string& path);

}  // namespace cbl
