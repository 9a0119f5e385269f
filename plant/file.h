#pragma once

#include <cstdint>
#include <string>

namespace plant {

/// Reads a whole regular file; a pipe, which would have to wait for its writer, is refused unopened.
/// Result: 0; -1 with `error` (one line with the path).
std::int32_t readFile(const std::string& path, std::string& text, std::string& error);

enum class Existing { kReplaced, kRefused };

/// Writes a whole file: whoever reads it sees the old or the new content, never a part, also after a power cut. What
/// replaces a file keeps its mode and, as far as the system lets us, its owner; a symbolic link is followed. Only a
/// regular file is replaced. Result: 0; -1 it exists and is not to be replaced; -2 it cannot be written. `error` as
/// above.
std::int32_t writeFile(const std::string& path, const std::string& text, Existing existing, std::string& error);

}  // namespace plant
