#pragma once

#include <cstdint>
#include <string>

namespace cbl {

/// Overwrites the process's own argument area, which tools like ps show, with `title`, cut to the area's size. A title
/// that needs more room takes the environment's strings behind the arguments along; the environment then moves to new
/// memory. Afterwards `argv[1]` is null when there was one, and a later title may have less room. Changes process-wide
/// state: call it from the main thread while no other thread runs.
/// Result: 0; -1 no arguments, or an empty title.
std::int32_t setProcessTitle(std::int32_t argc, char** argv, const std::string& title);

}  // namespace cbl
