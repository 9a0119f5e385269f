#pragma once

#include <cstdint>
#include <string>

namespace cbl {

/// Connects a new Unix-domain stream socket to `path` within `timeoutMs` milliseconds (0 or less: without limit). The
/// socket is close-on-exec, above 2, and stays non-blocking. `descriptor` is written on success only and belongs to the
/// caller.
/// Result: 0; -1 no such path; -2 no socket; -17 to -20 `connectUnixStep` failed, its code minus 16.
std::int32_t connectUnix(const std::string& path, std::int32_t& descriptor, std::int32_t timeoutMs);

/// Connects the given socket, which stays open on failure.
/// Result: 0; -1 negative descriptor, no such path, or a path longer than a socket address holds; -2 it cannot be made
/// non-blocking; -3 time-out; -4 refused, or the peer's backlog is full.
std::int32_t connectUnixStep(std::int32_t descriptor, const std::string& path, std::int32_t timeoutMs);

}  // namespace cbl
