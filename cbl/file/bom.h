#pragma once

#include <cstdint>
#include <string>

namespace cbl {

/// Looks for a byte-order mark at the start of `content` and stores the encoding's name.
/// Result: the mark's length in bytes; -1 content shorter than 2 bytes; -2 no mark. `encoding` is written on success.
std::int32_t detectBom(const std::string& content, std::string& encoding);

}  // namespace cbl
