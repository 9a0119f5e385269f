#include "host/tool/page/encoding.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include "bacnet/number/names.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/present_values.h"
#include "bacnet/number/properties.h"
#include "host/tool/failure.h"
#include "host/tool/network/commanded_object.h"
#include "host/tool/view/result_view.h"

namespace tool {

namespace {

namespace property = bacnet::property;

constexpr std::uint32_t kMostTexts = 255;

const char* wordOf(Quality quality) {
  switch (quality) {
    case Quality::kGood:
      return "good";
    case Quality::kOld:
      return "old";
    case Quality::kFailed:
      return "failed";
  }
  return "";
}

const char* wordOf(LinkState::Kind kind) {
  switch (kind) {
    case LinkState::kConnecting:
      return "connecting";
    case LinkState::kConnected:
      return "connected";
    case LinkState::kLost:
      return "lost";
  }
  return "";
}

Record orNull(const std::optional<std::int64_t>& time) {
  return time ? Record(*time) : Record();
}

// The shortest number that means the same: a REAL has fewer digits than the double that it is kept in.
Record numberOf(double value) {
  if (!std::isfinite(value)) return {};
  const auto single = static_cast<float>(value);
  return static_cast<double>(single) == value ? std::strtod(fmt::format("{}", single).c_str(), nullptr) : value;
}

Record pairOf(const Sample& sample) {
  return Record::array({Record(sample.time), numberOf(sample.value)});
}

Record pairsOf(const std::vector<Sample>& samples) {
  Record pairs = Record::array();
  for (const Sample& sample : samples) pairs.push_back(pairOf(sample));
  return pairs;
}

std::string nameOf(const bacnet::CNameTable& names, std::int32_t number) {
  const auto name = names.name(static_cast<std::uint32_t>(number));
  return name.empty() ? std::to_string(number) : std::string(name);
}

bool isInput(std::int32_t objectType) {
  using namespace bacnet::object_type;
  constexpr std::array kInputs = {kAnalogInput, kBinaryInput, kMultiStateInput};
  const auto type = static_cast<bacnet::ObjectType>(objectType);
  return std::find(kInputs.begin(), kInputs.end(), type) != kInputs.end();
}

const bacnet::PresentValueMeaning* meaningOf(const plant::Point& point) {
  return bacnet::presentValueOf(static_cast<bacnet::ObjectType>(point.objectType));
}

bool isMultiState(const plant::Point& point) {
  const auto* const meaning = meaningOf(point);
  return meaning != nullptr && meaning->kind == bacnet::ObjectKind::kMultiState;
}

// An input's present value can be written only out of service: for that there is the command line.
bool takesWrites(const plant::Point& point) {
  const auto id = static_cast<bacnet::PropertyId>(point.propId);
  if (id == property::kPresentValue) return !isInput(point.objectType);
  constexpr std::array kRead = {property::kStatusFlags, property::kEventState, property::kReliability, property::kUnits,
                                property::kObjectName};
  return std::find(kRead.begin(), kRead.end(), id) == kRead.end();
}

// Where the device has not told, what may have priorities.
bool isReleasable(const plant::Point& point, const PointFacts& facts) {
  if (failureOf([&] { commandedObject(point); })) return false;
  if (facts.isFromDevice) return facts.isCommandable;
  const auto* const meaning = meaningOf(point);
  return meaning != nullptr && meaning->isCommandable;
}

Record priorityOf(const plant::Point& point, const PointFacts& facts) {
  Record priority;
  if (isReleasable(point, facts)) failureOf([&] { priority = ownPriority(point); });
  return priority;
}

// From the first state on: a multi-state object counts its states from 1, everything else from 0.
Record textsOf(const plant::Point& point, const PointFacts& facts) {
  if (facts.texts.empty() || facts.areBits) return {};
  const std::uint32_t first = isMultiState(point) ? 1 : 0;
  const std::uint32_t last = facts.texts.rbegin()->first;
  if (facts.texts.begin()->first < first || last > kMostTexts) return {};
  Record texts = Record::array();
  for (std::uint32_t state = first; state <= last; ++state) {
    const auto text = facts.texts.find(state);
    texts.push_back(text == facts.texts.end() ? std::to_string(state) : text->second);
  }
  return texts;
}

Record recordOf(const CBoard& board, std::size_t place, const PointState& state, const PointFacts& facts,
                const std::vector<Sample>& trend, bool areWritable) {
  const plant::Point& point = board.link().points[place];
  Record record;
  record["id"] = board.firstId() + place;
  record["link"] = board.link().linkId;
  record["name"] = point.fullName();
  record["object"] = fmt::format("{},{}", nameOf(bacnet::kObjectTypeNames, point.objectType), point.instance);
  record["property"] = nameOf(bacnet::kPropertyNames, point.propId);
  record["type"] = typeOf(point);
  record["unit"] = facts.unit.empty() ? Record() : Record(facts.unit);
  record["texts"] = textsOf(point, facts);
  record["writable"] = areWritable && takesWrites(point);
  record["releasable"] = areWritable && isReleasable(point, facts);
  record["priority"] = priorityOf(point, facts);
  record["value"] = state.value;
  record["text"] = state.text;
  record["code"] = state.code;
  record["words"] = state.words;
  record["quality"] = wordOf(state.quality);
  record["time"] = orNull(state.time);
  record["trend"] = pairsOf(trend);
  return record;
}

Record valueOf(const CBoard& board, std::size_t place, const PointState& state) {
  return Record::array({Record(board.firstId() + place), state.value, Record(state.text), Record(state.code),
                        Record(wordOf(state.quality))});
}

std::string valuesText(std::int64_t time, Record values) {
  Record record;
  record["time"] = time;
  record["values"] = std::move(values);
  return jsonText(record);
}

std::size_t countOf(const std::vector<PointState>& states, Quality quality) {
  return static_cast<std::size_t>(
      std::count_if(states.begin(), states.end(), [&](const PointState& state) { return state.quality == quality; }));
}

Record linkRecord(const CBoard& board) {
  const plant::Link& link = board.link();
  const LinkState state = board.linkState();
  const auto states = board.states();
  Record record;
  record["link"] = link.linkId;
  record["state"] = wordOf(state.kind);
  record["code"] = state.code;
  record["words"] = state.words;
  record["device"] = fmt::format("device {} at {}", link.deviceId, link.ip);
  record["points"] = states.size();
  for (const Quality quality : {Quality::kGood, Quality::kOld, Quality::kFailed})
    record[wordOf(quality)] = countOf(states, quality);
  record["lastAnswer"] = orNull(state.lastAnswer);
  return record;
}

}  // namespace

std::string jsonText(const Record& record) {
  return record.dump(-1, ' ', false, Record::error_handler_t::replace);
}

std::string linksJson(const Boards& boards) {
  Record links = Record::array();
  for (const auto& board : boards) links.push_back(linkRecord(*board));
  return jsonText(links);
}

// Point by point: all of them as one record, trends included, would take ten times the room of their text.
std::string pointsJson(const Boards& boards, bool areWritable) {
  std::string text = "[";
  for (const auto& board : boards) {
    const auto states = board->states();
    const auto facts = board->facts();
    const auto trends = board->trends();
    for (std::size_t place = 0; place < states.size(); ++place) {
      if (text.size() > 1) text += ',';
      text += jsonText(recordOf(*board, place, states[place], facts[place], trends[place], areWritable));
    }
  }
  return text + ']';
}

std::string valuesJson(const CBoard& board, const std::vector<std::size_t>& places, std::int64_t time) {
  Record values = Record::array();
  for (const std::size_t place : places) values.push_back(valueOf(board, place, board.state(place)));
  return valuesText(time, std::move(values));
}

std::string allValuesJson(const Boards& boards, std::int64_t time) {
  Record values = Record::array();
  for (const auto& board : boards) {
    const auto states = board->states();
    for (std::size_t place = 0; place < states.size(); ++place) values.push_back(valueOf(*board, place, states[place]));
  }
  return valuesText(time, std::move(values));
}

std::string historyJson(const std::vector<Sample>& samples) {
  Record record;
  record["from"] = samples.empty() ? Record() : Record(samples.front().time);
  record["samples"] = pairsOf(samples);
  return jsonText(record);
}

std::string historyCsv(const std::vector<Sample>& samples) {
  std::string csv = "time,value,code\r\n";
  for (const Sample& sample : samples) {
    const std::string value = std::isfinite(sample.value) ? jsonText(numberOf(sample.value)) : "";
    csv += fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z,{},{}\r\n", fmt::gmtime(std::time_t{sample.time / 1000}),
                       sample.time % 1000, value, sample.code);
  }
  return csv;
}

std::string errorsJson(const std::vector<PointError>& errors) {
  Record records = Record::array();
  for (const PointError& error : errors) {
    Record record;
    record["time"] = error.time;
    record["code"] = error.code;
    record["words"] = error.words;
    records.push_back(record);
  }
  return jsonText(records);
}

}  // namespace tool
