#pragma once

#include <cstdint>

namespace cbl {

/// Prints "label: [ 01 a0 ]" and a line feed on standard output; without the label and its colon when `label` is null.
/// A length of 0 or less prints only the brackets.
void hexDump(const char* label, const std::uint8_t* bytes, std::int32_t length);

}  // namespace cbl
