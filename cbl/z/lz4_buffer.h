#pragma once

#include <cstdint>
#include <string>

namespace cbl {

enum class Lz4Direction { kCompress, kDecompress };

/// Turns `in` into one LZ4 frame with the library's default preferences, or one whole LZ4 frame, whatever preferences
/// its sender used, back into its content. `out` must not be `in`; it is replaced on success only. The output grows
/// with what is really there, never by what the frame's header claims.
/// Result: the size of `out` in bytes, or
///   -1  the LZ4 context cannot be made            -2  the LZ4 library failed, or the frame is damaged
///   -3  the frame is cut, or bytes follow it      -4  the result would exceed 2^31-1 bytes
std::int32_t lz4Buffer(const std::string& in, std::string& out, Lz4Direction direction);

}  // namespace cbl
