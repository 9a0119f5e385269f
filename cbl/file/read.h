#pragma once

#include <cstdint>
#include <cstdio>
#include <list>
#include <string>

namespace cbl {

/// Replaces `content` by the file's bytes as they are. Result: 0; -1 no path; -2 the file cannot be opened.
std::int32_t readWholeFile(const char* path, std::string& content);

/// Reads a number in `base` from the start of the file; text without one gives 0.
/// Result: `readWholeFile`'s; `value` is written on 0 only.
std::int32_t readIntFromFile(const char* path, std::int32_t& value, int base);

/// Reads `stream` to its end. Lines lose their line end, a longer line arrives in pieces of 4095 bytes, empty lines are
/// dropped, and a byte-order mark is cut off the first. `lines` is emptied first; without it the lines are counted
/// only. Result: the number of lines kept; -1 without a stream.
std::int32_t readLines(std::FILE* stream, std::list<std::string>* lines);

/// Result: `readLines`'s for the file; -1 the file cannot be opened; -2 it cannot be read.
std::int32_t readLinesFromFile(const char* path, std::list<std::string>* lines);

}  // namespace cbl
