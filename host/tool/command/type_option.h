#pragma once

#include <CLI/App.hpp>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace tool {

/// Adds --type TYPE, which may be repeated.
void addTypeOption(CLI::App& command, std::vector<std::string>& types, const std::string& help);

/// Object types by the standard's name or by number. Throws CFailure (usage) for what is neither.
std::set<std::int32_t> typesIn(const std::vector<std::string>& texts);

}  // namespace tool
