#include "host/tool/command/type_option.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>

#include "bacnet/number/names.h"
#include "host/tool/failure.h"

namespace tool {

namespace {

constexpr std::int32_t kLargestType = 1023;

std::int32_t typeIn(const std::string& text) {
  if (const auto number = bacnet::kObjectTypeNames.number(text)) return static_cast<std::int32_t>(*number);
  std::int32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number);
  if (failure == std::errc() && stop == end && number >= 0 && number <= kLargestType) return number;
  throw CFailure(ExitStatus::kUsage, fmt::format("there is no object type '{}'", text),
                 "write it as analog-input, or by its number");
}

}  // namespace

void addTypeOption(CLI::App& command, std::vector<std::string>& types, const std::string& help) {
  command.add_option("--type", types, help + ", by name or number")->type_name("TYPE")->allow_extra_args(false);
}

std::set<std::int32_t> typesIn(const std::vector<std::string>& texts) {
  std::set<std::int32_t> types;
  for (const std::string& text : texts) types.insert(typeIn(text));
  return types;
}

}  // namespace tool
