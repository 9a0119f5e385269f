#pragma once

#include <cstdint>
#include <string>

namespace cbl {

/// Replaces the file by `content` and waits until it is on the disk.
/// Result: 0; -1 no path or empty content (the file is untouched); -2 the file cannot be opened; -3 not all was
/// written.
std::int32_t echoToFile(const char* path, const std::string& content);

/// The same with the decimal text of `value`, without a line feed.
std::int32_t echoIntToFile(const char* path, std::int32_t value);

}  // namespace cbl
