#include "simulator/fault_script.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace simulator {

namespace {

bool matches(const FaultRule& rule, const helper::Request& request) {
  if (rule.function != "*" && rule.function != request.function) return false;
  if (!rule.regId) return true;
  return std::any_of(request.points.begin(), request.points.end(),
                     [&](const helper::PointAccess& point) { return point.regId == *rule.regId; });
}

}  // namespace

bool CFaultScript::load(const std::string& directory, std::string& error) {
  const std::filesystem::path path = std::filesystem::path(directory) / "simulator.json";
  std::string text;
  std::vector<FaultRule> rules;
  std::error_code unknown;
  if (std::filesystem::exists(path, unknown)) {
    std::ifstream file;
    if (std::filesystem::is_regular_file(path, unknown)) file.open(path, std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad()) {
      error = path.string() + ": cannot be read";
      return false;
    }
    if (!rules_.empty() && text == text_) return true;
    if (!readFaultRules(text, rules, error)) {
      error = path.string() + ": " + error;
      return false;
    }
  }
  text_.swap(text);
  rules_.clear();
  for (FaultRule& rule : rules) rules_.push_back({std::move(rule)});
  return true;
}

const FaultRule* CFaultScript::next(const helper::Request& request) {
  const FaultRule* due = nullptr;
  for (CountedRule& each : rules_) {
    const FaultRule& rule = each.rule;
    if (!matches(rule, request) || ++each.seen <= rule.after || due != nullptr) continue;
    if (rule.times && each.used >= *rule.times) continue;
    ++each.used;
    due = &rule;
  }
  return due;
}

}  // namespace simulator
