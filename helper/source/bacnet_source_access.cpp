// Reading and writing points.
#include <fmt/format.h>

#include <utility>
#include <variant>

#include "bacnet/codec/value_text.h"
#include "bacnet/number/properties.h"
#include "helper/source/bacnet_connection.h"
#include "helper/source/failure_codes.h"
#include "helper/source/value_in.h"
#include "helper/source/value_out.h"

namespace helper {

namespace {

constexpr std::size_t kFaultBit = 1;      // of status-flags
constexpr std::size_t kStatusOctets = 3;  // as they travel

// What the device takes for a point: by the standard, or else what it has answered itself.
std::optional<bacnet::ApplicationType> writtenAs(const BoundPoint& bound) {
  const auto tag = writtenType(bound.plan.write.object.type, bound.plan.write.reference.property);
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

void CBacnetSource::read(std::vector<PointRead> points, io::TimePoint deadline, Done<std::vector<Reading>> done) {
  struct Asked {
    std::size_t point;
    bool isStatus;  // of the item before
  };
  std::vector<Reading> readings(points.size());
  if (!connection_) {  // a project loaded since then could not be connected
    for (Reading& each : readings) each.code = ResultCode::kNotConnected;
    done(std::move(readings));
    return;
  }
  std::vector<Asked> asked;
  std::vector<bacnet::ReadItem> items;
  asked.reserve(points.size());
  items.reserve(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    const PointPlan& plan = project_->of(*points[i].point).plan;
    readings[i].code = plan.refused;
    if (plan.refused != ResultCode::kDone) continue;
    items.push_back({plan.read, expectedOctets(*points[i].point, points[i].size)});
    asked.push_back({i, false});
    if (!options_.isFaultRefused || !plan.isPresentValue) continue;
    items.push_back({{plan.read.object, {bacnet::property::kStatusFlags, std::nullopt}}, kStatusOctets});
    asked.push_back({i, true});
  }
  if (items.empty()) {
    done(std::move(readings));
    return;
  }

  connection_->client.read(
      std::move(items), deadline,
      [this, project = project_, points = std::move(points), readings = std::move(readings), asked = std::move(asked),
       done = std::move(done)](const std::vector<bacnet::ReadOutcome>& outcomes) mutable {
        std::vector<std::string> words(points.size());
        for (std::size_t i = 0; i < asked.size(); ++i) {
          const PointRead& point = points[asked[i].point];
          Reading& reading = readings[asked[i].point];
          if (asked[i].isStatus) {
            if (reading.code == ResultCode::kDone && isFaulty(outcomes[i])) reading = {ResultCode::kFaultFlag, {}};
            continue;
          }
          if (const auto* const failure = std::get_if<bacnet::Failure>(&outcomes[i])) {
            reading.code = codeOf(*failure);
            words[asked[i].point] = helper::wordsOf(*failure);
            continue;
          }
          const auto& values = std::get<bacnet::Values>(outcomes[i]);
          if (const auto tag = bacnet::typeOf(values)) project->of(*point.point).lastRead = tag;
          reading.code = fromDevice(values, *point.point, point.size, reading.value);
        }
        for (std::size_t i = 0; i < points.size(); ++i) {
          const plant::Point& point = *points[i].point;
          note("read", point, project->of(point).readCode, readings[i].code, words[i]);
        }
        done(std::move(readings));
      });
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
  auto writing = std::make_shared<Writing>();
  writing->project = project_;
  writing->outcomes.resize(points.size());
  writing->current.resize(points.size());
  writing->points = std::move(points);
  writing->deadline = deadline;
  writing->done = std::move(done);
  for (std::size_t i = 0; i < writing->points.size(); ++i) {
    const PointPlan& plan = writing->bound(i).plan;
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
    if (tag && !needsCurrent(*writing->points[i].point, *tag)) continue;
    items.push_back({bound.plan.write, expectedOctets(*writing->points[i].point, writing->points[i].size)});
    asked.push_back(i);
  }
  if (items.empty()) {
    sendWrites(std::move(writing));
    return;
  }
  const io::TimePoint deadline = writing->deadline;
  connection_->client.read(
      std::move(items), deadline,
      [this, writing = std::move(writing), asked = std::move(asked)](std::vector<bacnet::ReadOutcome> outcomes) {
        for (std::size_t i = 0; i < asked.size(); ++i) {
          const std::size_t at = asked[i];
          if (const auto* const failure = std::get_if<bacnet::Failure>(&outcomes[i])) {
            writing->outcomes[at].code = codeOf(*failure);
            note("write", *writing->points[at].point, writing->bound(at).writeCode, codeOf(*failure),
                 helper::wordsOf(*failure));
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
  for (std::size_t i = 0; i < writing->points.size(); ++i) {
    if (!writing->isOpen(i)) continue;
    const PointWrite& point = writing->points[i];
    BoundPoint& bound = writing->bound(i);
    bacnet::Value value = bacnet::Null{};
    if (!bound.plan.isRelease) {
      const auto tag = writtenAs(bound);
      const ResultCode code =
          tag ? toDevice(point.value, *point.point, *tag, writing->current[i], value) : ResultCode::kDoesNotFit;
      if (code != ResultCode::kDone) {
        writing->outcomes[i].code = code;
        note("write", *point.point, bound.writeCode, code, {});
        continue;
      }
    }
    items.push_back({bound.plan.write, {std::move(value)}, bound.plan.priority});
    asked.push_back(i);
  }
  if (items.empty()) {
    writing->done(std::move(writing->outcomes));
    return;
  }
  const io::TimePoint deadline = writing->deadline;
  connection_->client.write(std::move(items), deadline,
                            [this, writing = std::move(writing),
                             asked = std::move(asked)](const std::vector<bacnet::WriteOutcome>& outcomes) {
                              for (std::size_t i = 0; i < asked.size(); ++i) {
                                const std::size_t at = asked[i];
                                if (outcomes[i]) writing->outcomes[at].code = codeOf(*outcomes[i]);
                                note("write", *writing->points[at].point, writing->bound(at).writeCode,
                                     writing->outcomes[at].code,
                                     outcomes[i] ? helper::wordsOf(*outcomes[i]) : std::string());
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
