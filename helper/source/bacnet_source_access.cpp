// Reading and writing points.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>
#include <variant>

#include "bacnet/client/late_outcomes.h"
#include "bacnet/codec/value_text.h"
#include "bacnet/number/properties.h"
#include "binding/failure_codes.h"
#include "binding/value_in.h"
#include "binding/value_out.h"
#include "helper/source/bacnet_connection.h"

namespace helper {

namespace {

constexpr std::size_t kFaultBit = 1;      // of status-flags
constexpr std::size_t kStatusOctets = 3;  // as they travel

// What the device takes for a point: by the standard, or else what it has answered itself.
std::optional<bacnet::ApplicationType> writtenAs(const BoundPoint& bound) {
  const auto tag = binding::writtenType(bound.plan.write.object.type, bound.plan.write.reference);
  return tag ? tag : bound.lastRead;
}

// Octets of the value as it travels, which a data type only suggests.
std::size_t expectedOctets(const plant::Point& point, std::int32_t size) {
  constexpr std::size_t kNumber = 5;
  constexpr std::size_t kDouble = 10;
  constexpr std::size_t kTextHeader = 4;
  if (point.type == plant::DataType::kDouble) return kDouble;
  return point.type == plant::DataType::kString ? kTextHeader + static_cast<std::size_t>(size) : kNumber;
}

bool isFaulty(const bacnet::ReadOutcome& statusFlags) {
  const auto* const values = std::get_if<bacnet::Values>(&statusFlags);
  if (values == nullptr || values->size() != 1) return false;
  const auto* const flags = std::get_if<bacnet::BitString>(&values->front());
  return flags != nullptr && flags->bits.size() > kFaultBit && flags->bits[kFaultBit];
}

// What is wrong with the device or the network concerns every point, and is said once by whoever finds it out; an empty
// slot of a priority array is as good as a full one.
bool isForTheLog(ResultCode code) {
  return code != ResultCode::kDeviceSilent && code != ResultCode::kDeviceNotFound &&
         code != ResultCode::kLocalNetwork && code != ResultCode::kNull;
}

std::string wordsOf(ResultCode code) {
  switch (code) {
    case ResultCode::kFaultFlag:
      return "the device's fault flag is set";
    default:
      return "the value does not fit the point's data type";
  }
}

}  // namespace

// A read under way, and what each of its items is for.
struct CBacnetSource::Call {
  struct Item {
    enum Purpose { kAsked, kStatus, kAhead } purpose;
    std::size_t at;  // in `points`; of what is read in advance, in the project
  };

  std::shared_ptr<CBoundProject> project;
  std::vector<PointRead> points;
  Done<std::vector<Reading>> done;
  std::vector<Reading> readings;
  std::map<std::size_t, std::string> words;  // for the log, of those that failed
  std::vector<Item> items;
  unsigned season = 0;  // of the read-ahead
};

void CBacnetSource::read(std::vector<PointRead> points, io::TimePoint deadline, Done<std::vector<Reading>> done) {
  Call call;
  call.project = project_;
  call.readings.resize(points.size());
  call.points = std::move(points);
  call.done = std::move(done);
  if (!connection_) {  // a project loaded since then could not be connected
    for (Reading& each : call.readings) each.code = ResultCode::kNotConnected;
    call.done(std::move(call.readings));
    return;
  }

  CReadAhead& readAhead = project_->readAhead();
  std::vector<bacnet::ReadItem> items;
  for (std::size_t i = 0; i < call.points.size(); ++i) {
    const auto& [point, size] = call.points[i];
    const binding::PointPlan& plan = project_->of(*point).plan;
    call.readings[i].code = plan.refused;
    if (plan.refused != ResultCode::kDone) continue;
    const std::size_t number = project_->numberOf(*point);
    readAhead.learn(number);
    if (const auto held = readAhead.take(number, timers_.now())) {
      take(call, i, *held);
      continue;
    }
    if (const auto* const told = options_.isFaultRefused ? nullptr : connection_->client.told(plan.read)) {
      take(call, i, *told);
      continue;
    }
    items.push_back({plan.read, expectedOctets(*point, size)});
    call.items.push_back({Call::Item::kAsked, i});
    if (!options_.isFaultRefused || !plan.isPresentValue) continue;
    items.push_back({{plan.read.object, {bacnet::property::kStatusFlags, std::nullopt}}, kStatusOctets});
    call.items.push_back({Call::Item::kStatus, i});
  }
  if (items.empty()) return finish(call);
  addExpected(call, items);
  ask(std::make_shared<Call>(std::move(call)), std::move(items), deadline);
}

void CBacnetSource::ask(const std::shared_ptr<Call>& call, std::vector<bacnet::ReadItem> items,
                        io::TimePoint deadline) {
  connection_->client.read(std::move(items), deadline, [this, call](std::vector<bacnet::ReadOutcome> outcomes) {
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
      const auto [purpose, at] = call->items[i];
      if (purpose == Call::Item::kAsked) {
        take(*call, at, outcomes[i]);
      } else if (purpose == Call::Item::kStatus) {
        Reading& reading = call->readings[at];
        if (reading.code == ResultCode::kDone && isFaulty(outcomes[i])) reading = {ResultCode::kFaultFlag, {}};
      } else if (auto* const values = std::get_if<bacnet::Values>(&outcomes[i])) {
        call->project->readAhead().hold(at, std::move(*values), timers_.now(), call->season);
      }
    }
    finish(*call);
  });
}

// Fills the request up with the points that will be asked for next, as far as the device takes it in one.
void CBacnetSource::addExpected(Call& call, std::vector<bacnet::ReadItem>& items) {
  constexpr std::size_t kMostInOneRequest = 200;  // no APDU has room for more
  constexpr std::int32_t kUsualRegister = 32;     // bytes of a STRING, as long as nobody asks for it
  CReadAhead& readAhead = project_->readAhead();
  call.season = readAhead.season();
  const std::size_t asked = items.size();
  const std::size_t last = project_->numberOf(*call.points.back().point);
  for (const std::size_t number : readAhead.expected(last, kMostInOneRequest, timers_.now())) {
    const plant::Point& point = project_->link().points[number];
    const BoundPoint& bound = project_->of(point);
    const bool isSubscribed = bound.plan.isPresentValue && subscribed_.count(bound.plan.read.object) != 0;
    if (isSubscribed || bound.plan.refused != ResultCode::kDone || bound.readCode != ResultCode::kDone) continue;
    items.push_back({bound.plan.read, expectedOctets(point, kUsualRegister)});
    call.items.push_back({Call::Item::kAhead, number});
  }
  const std::size_t count = std::max(asked, connection_->client.countInOneRead(items));
  items.resize(count);
  call.items.resize(count);
}

// The outcome of one of the points that were asked for.
void CBacnetSource::take(Call& call, std::size_t at, const bacnet::ReadOutcome& outcome) {
  const auto* const failure = std::get_if<bacnet::Failure>(&outcome);
  if (failure == nullptr) return take(call, at, std::get<bacnet::Values>(outcome));
  call.readings[at].code = binding::codeOf(*failure);
  call.words[at] = binding::wordsOf(*failure);
}

void CBacnetSource::take(Call& call, std::size_t at, const bacnet::Values& values) {
  const auto& [point, size] = call.points[at];
  Reading& reading = call.readings[at];
  if (const auto type = bacnet::typeOf(values)) call.project->of(*point).lastRead = type;
  reading.code = binding::fromDevice(values, *point, size, reading.value);
}

void CBacnetSource::finish(Call& call) {
  for (std::size_t i = 0; i < call.points.size(); ++i) {
    const plant::Point& point = *call.points[i].point;
    const auto words = call.words.find(i);
    note("read", point, call.project->of(point).readCode, call.readings[i].code,
         words == call.words.end() ? std::string() : words->second);
  }
  call.done(std::move(call.readings));
}

// A write under way: what is decided already, and what the device has where it has to be known.
struct CBacnetSource::Writing {
  std::shared_ptr<CBoundProject> project;
  std::vector<PointWrite> points;
  io::TimePoint deadline;
  Done<std::vector<Outcome>> done;
  std::vector<Outcome> outcomes;
  std::vector<bacnet::Values> current;

  BoundPoint& bound(std::size_t i) { return project->of(*points[i].point); }
  bool isOpen(std::size_t i) const { return outcomes[i].code == ResultCode::kDone; }
};

void CBacnetSource::write(std::vector<PointWrite> points, io::TimePoint deadline, Done<std::vector<Outcome>> done) {
  if (!connection_) {
    done(std::vector<Outcome>(points.size(), Outcome{ResultCode::kNotConnected, {}}));
    return;
  }
  project_->readAhead().dropAll();
  auto writing = std::make_shared<Writing>();
  writing->project = project_;
  writing->outcomes.resize(points.size());
  writing->current.resize(points.size());
  writing->points = std::move(points);
  writing->deadline = deadline;
  writing->done = std::move(done);
  for (std::size_t i = 0; i < writing->points.size(); ++i) {
    const binding::PointPlan& plan = writing->bound(i).plan;
    writing->outcomes[i].code = plan.refused != ResultCode::kDone ? plan.refused : plan.writeRefused;
  }
  readCurrent(std::move(writing));
}

// Reads what has to be known before it can be written: the type, or the other bits.
void CBacnetSource::readCurrent(std::shared_ptr<Writing> writing) {
  std::vector<std::size_t> asked;
  std::vector<bacnet::ReadItem> items;
  for (std::size_t i = 0; i < writing->points.size(); ++i) {
    BoundPoint& bound = writing->bound(i);
    if (!writing->isOpen(i) || bound.plan.isRelease) continue;
    const auto tag = writtenAs(bound);
    if (tag && !binding::needsCurrent(*writing->points[i].point, *tag)) continue;
    items.push_back({bound.plan.write, expectedOctets(*writing->points[i].point, writing->points[i].size)});
    asked.push_back(i);
  }
  if (items.empty()) {
    sendWrites(std::move(writing));
    return;
  }
  const io::TimePoint deadline = writing->deadline;
  connection_->client.readAnew(
      std::move(items), deadline,
      [this, writing = std::move(writing), asked = std::move(asked)](std::vector<bacnet::ReadOutcome> outcomes) {
        for (std::size_t i = 0; i < asked.size(); ++i) {
          const std::size_t at = asked[i];
          if (const auto* const failure = std::get_if<bacnet::Failure>(&outcomes[i])) {
            writing->outcomes[at].code = binding::codeOf(*failure);
            note("write", *writing->points[at].point, writing->bound(at).writeCode, binding::codeOf(*failure),
                 binding::wordsOf(*failure));
            continue;
          }
          writing->current[at] = std::move(std::get<bacnet::Values>(outcomes[i]));
          if (const auto tag = bacnet::typeOf(writing->current[at])) writing->bound(at).lastRead = tag;
        }
        sendWrites(writing);
      });
}

void CBacnetSource::sendWrites(std::shared_ptr<Writing> writing) {
  std::vector<std::size_t> asked;
  std::vector<bacnet::WriteItem> items;
  std::map<bacnet::PropertyAddress, bacnet::Values> changed;  // by this call: several of its points may be bits of one
  for (std::size_t i = 0; i < writing->points.size(); ++i) {
    if (!writing->isOpen(i)) continue;
    const PointWrite& point = writing->points[i];
    BoundPoint& bound = writing->bound(i);
    bacnet::Values values = {bacnet::Null{}};
    if (!bound.plan.isRelease) {
      const auto before = changed.find(bound.plan.write);
      const bacnet::Values& current = before == changed.end() ? writing->current[i] : before->second;
      const ResultCode code = binding::toDevice(point.value, *point.point, writtenAs(bound), current, values);
      if (code != ResultCode::kDone) {
        writing->outcomes[i].code = code;
        note("write", *point.point, bound.writeCode, code, {});
        continue;
      }
    }
    if (!bound.plan.isRelease) changed[bound.plan.write] = values;
    items.push_back({bound.plan.write, std::move(values), bound.plan.priority});
    asked.push_back(i);
  }
  if (items.empty()) {
    writing->done(std::move(writing->outcomes));
    return;
  }
  const io::TimePoint deadline = writing->deadline;
  connection_->client.write(
      std::move(items), deadline,
      [this, writing = std::move(writing),
       asked = std::move(asked)](const std::vector<bacnet::WriteOutcome>& outcomes) {
        writing->project->readAhead().dropAll();  // what was asked for meanwhile may be from before
        for (std::size_t i = 0; i < asked.size(); ++i) {
          const std::size_t at = asked[i];
          if (outcomes[i]) writing->outcomes[at].code = binding::codeOf(*outcomes[i]);
          note("write", *writing->points[at].point, writing->bound(at).writeCode, writing->outcomes[at].code,
               outcomes[i] ? binding::wordsOf(*outcomes[i]) : std::string());
        }
        writing->done(std::move(writing->outcomes));
      });
}

// A point's failure is said when it is new, and so is its end.
void CBacnetSource::note(const char* access, const plant::Point& point, ResultCode& last, ResultCode code,
                         const std::string& words) {
  if (code == last || !isForTheLog(code)) return;
  last = code;
  if (code == ResultCode::kDone) {
    log_(fmt::format("{} {}: well again", access, nameOf(point)));
  } else {
    log_(fmt::format("{} {}: {} (code {})", access, nameOf(point), words.empty() ? wordsOf(code) : words,
                     static_cast<std::int32_t>(code)));
  }
}

}  // namespace helper
