#include "host/tool/page/board.h"

#include <fmt/format.h>

#include <chrono>
#include <limits>
#include <type_traits>
#include <utility>
#include <variant>

#include "host/tool/link/result_codes.h"
#include "host/tool/view/result_view.h"

namespace tool {

namespace {

constexpr std::size_t kMostErrors = 20;
constexpr std::int32_t kDeviceSilent = 20;
constexpr std::int32_t kDeviceNotFound = 21;
constexpr std::int32_t kNull = 22;
constexpr std::int32_t kNoNumber = -2;  // an answer that was no number at all; no helper's code

double numberOf(const std::optional<plant::Value>& value) {
  if (!value) return std::numeric_limits<double>::quiet_NaN();
  return std::visit(
      [](const auto& held) {
        if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::string>)
          return std::numeric_limits<double>::quiet_NaN();
        else
          return static_cast<double>(held);
      },
      *value);
}

Quality qualityOf(const Result& result) {
  if (result.isGood) return Quality::kGood;
  switch (result.access.code.value_or(kNoNumber)) {
    case kNull:
      return Quality::kGood;
    case kNoAnswer:
    case kNoProject:
    case kNotConnected:
    case kDeviceSilent:
    case kDeviceNotFound:
      return Quality::kOld;
    default:
      return Quality::kFailed;
  }
}

// The unit stands for itself.
std::string textOfValue(const PointFacts& facts, const Result& result) {
  std::string words = wordsOf(facts, *result.value);
  return words.empty() ? valueText(result) : words;
}

std::string failureTextOf(const Result& result) {
  if (result.isGood) return "";
  if (!result.access.code) return "the helper answered with text that is no number that fits";
  if (*result.access.code == kDone)
    return fmt::format("not readable as {}: words {}", typeText(result.point()), fmt::join(result.access.words, " "));
  return textOf(*result.access.code).meaning;
}

}  // namespace

std::int64_t nowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

CBoard::CBoard(plant::Link link, std::size_t firstId, std::size_t samplesPerPoint)
    : link_(std::move(link)),
      firstId_(firstId),
      entries_(link_.points.size(), Entry{{}, {}, CHistory(samplesPerPoint), {}}) {
  for (const plant::Point& point : link_.points) facts_.push_back(standardFacts(point));
}

std::vector<std::size_t> CBoard::take(const std::vector<Result>& results, std::size_t first, std::int64_t time) {
  std::vector<std::size_t> changed;
  const std::lock_guard lock(mutex_);
  for (std::size_t place = first; place < first + results.size(); ++place) {
    const Result& result = results[place - first];
    if (takeOne(entries_[place], facts_[place], result, time)) changed.push_back(place);
    if (entries_[place].state.quality != Quality::kOld) linkState_.lastAnswer = time;
  }
  return changed;
}

bool CBoard::takeOne(Entry& entry, const PointFacts& facts, const Result& result, std::int64_t time) {
  PointState& state = entry.state;
  const std::int32_t code = result.access.code.value_or(kNoNumber);
  const Quality quality = qualityOf(result);
  const double number = numberOf(result.value);
  entry.history.add({time, number, code});
  if (quality == Quality::kGood) state.time = time;
  const bool isRepeated = code == state.code && quality == state.quality;
  if (isRepeated && (quality == Quality::kOld || result.access.words == entry.words)) return false;

  std::string words = failureTextOf(result);
  if (quality != Quality::kGood && words != state.words) {
    entry.errors.push_front({time, code, words});
    if (entry.errors.size() > kMostErrors) entry.errors.pop_back();
  }
  state.code = code;
  state.quality = quality;
  state.words = std::move(words);
  if (quality == Quality::kOld) return true;
  entry.words = result.access.words;
  state.value = result.value ? recordOf(result)["value"] : Record();
  state.text = result.value ? textOfValue(facts, result) : "";
  return true;
}

void CBoard::setFacts(std::vector<PointFacts> facts) {
  const std::lock_guard lock(mutex_);
  facts_ = std::move(facts);
  for (Entry& entry : entries_) entry.words.clear();  // shown anew when they are read again
}

std::vector<PointFacts> CBoard::facts() const {
  const std::lock_guard lock(mutex_);
  return facts_;
}

bool CBoard::setState(LinkState::Kind kind, std::int32_t code, const std::string& words) {
  const std::lock_guard lock(mutex_);
  if (linkState_.kind == kind && linkState_.code == code && linkState_.words == words) return false;
  linkState_.kind = kind;
  linkState_.code = code;
  linkState_.words = words;
  return true;
}

PointState CBoard::state(std::size_t place) const {
  const std::lock_guard lock(mutex_);
  return entries_[place].state;
}

std::vector<PointState> CBoard::states() const {
  const std::lock_guard lock(mutex_);
  std::vector<PointState> all;
  all.reserve(entries_.size());
  for (const Entry& entry : entries_) all.push_back(entry.state);
  return all;
}

std::vector<std::vector<Sample>> CBoard::trends() const {
  const std::lock_guard lock(mutex_);
  std::vector<std::vector<Sample>> all;
  all.reserve(entries_.size());
  for (const Entry& entry : entries_) all.push_back(entry.history.newest(kTrendSamples));
  return all;
}

std::vector<Sample> CBoard::history(std::size_t place) const {
  const std::lock_guard lock(mutex_);
  return entries_[place].history.all();
}

std::vector<PointError> CBoard::errors(std::size_t place) const {
  const std::lock_guard lock(mutex_);
  return {entries_[place].errors.begin(), entries_[place].errors.end()};
}

LinkState CBoard::linkState() const {
  const std::lock_guard lock(mutex_);
  return linkState_;
}

}  // namespace tool
