#pragma once

#include <string>

namespace helper {

/// Points standard input, output and error at /dev/null: a pipe behind the process that started this one then ends
/// when that process ends. Result: false with a one-line `error`.
bool letGoOfStandardStreams(std::string& error);

}  // namespace helper
