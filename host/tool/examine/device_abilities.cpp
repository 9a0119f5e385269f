#include <fmt/format.h>

#include <algorithm>

#include "bacnet/client/device_text.h"
#include "bacnet/codec/describe.h"
#include "bacnet/number/names.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "bacnet/number/services.h"
#include "binding/point_plan.h"
#include "host/tool/examine/device_examination.h"
#include "host/tool/failure.h"
#include "host/tool/network/trial_subscription.h"

namespace tool {

namespace {

using bacnet::Failure;
namespace property = bacnet::property;
namespace service_bit = bacnet::service_bit;

constexpr std::size_t kBatch = 4;  // points: as many as are answered one by one, too, within the step's time
constexpr auto kPolled = binding::LinkSettings::Changes::kPoll;

Finding skipped(const std::string& detail) {
  return {Verdict::kSkipped, detail, "", ExitStatus::kWell};
}

std::string textOf(const plant::Point& point) {
  const auto address = binding::addressOf(point);
  const auto name = bacnet::kPropertyNames.name(address.reference.property);
  return fmt::format("{} ({} {})", point.fullName(), bacnet::objectText(address.object),
                     name.empty() ? std::to_string(address.reference.property) : std::string(name));
}

bool isSilent(const Failure& failure) {
  return failure.kind == Failure::Kind::kSilent || failure.kind == Failure::Kind::kUnreachable;
}

Finding fallenSilent(const std::string& what) {
  return failed(ExitStatus::kUnreachable, what + ": no answer any more",
                "try again; if it stays so, the network loses much");
}

// What the link's elements rely on, and what to do where the device has it not.
struct Need {
  const char* name;
  const char* remedy;
  std::uint32_t bit;
  bool isNeeded;
};

std::string segmentsText(bacnet::Segmentation segmentation) {
  switch (segmentation) {
    case bacnet::Segmentation::kBoth:
      return "in segments more";
    case bacnet::Segmentation::kTransmit:
      return "answers in segments";
    case bacnet::Segmentation::kReceive:
      return "takes segments, answers without";
    case bacnet::Segmentation::kNone:
      return "no segments";
  }
  return "";
}

}  // namespace

Finding CDeviceExamination::services() {
  bacnet::DeviceSettings settings = settings_->device;
  settings.deviceId = number_;
  settings.station = place_;
  device_ = std::make_unique<CDevice>(*station_, settings);
  const bacnet::ObjectId self{bacnet::object_type::kDevice, number_.value_or(bacnet::kLargestInstance)};
  const auto outcome = device_->read({{{self, {property::kProtocolServicesSupported, {}}}, 8}}).front();
  if (const auto* failure = std::get_if<Failure>(&outcome)) {
    if (isSilent(*failure)) return fallenSilent("protocol-services-supported");
    return warning("the device does not tell them: " + bacnet::failureText(*failure),
                   "nothing to do: what it refuses is done in another way");
  }
  const auto& bits = device_->profile().services.bits;
  const Need needs[] = {
      {"ReadProperty", "its points cannot be read: ask its maker", service_bit::kReadProperty, true},
      {"ReadPropertyMultiple", "set EnableReadPropm to false: batches are read one by one",
       service_bit::kReadPropertyMultiple, link_.enableReadPropm},
      {"WriteProperty", "its points cannot be written: use them for reading only", service_bit::kWriteProperty, true},
      {"WritePropertyMultiple", "set EnableWritePropm to false: batches are written one by one",
       service_bit::kWritePropertyMultiple, link_.enableWritePropm},
      {"SubscribeCOV", "set EnableSCOV to 0: its values are polled", service_bit::kSubscribeCov,
       settings_->changes != kPolled},
  };
  std::vector<std::string> has;
  std::vector<std::string> lacks;
  std::vector<std::string> remedies;
  for (const Need& each : needs) {
    if (each.bit < bits.size() && bits[each.bit]) {
      has.emplace_back(each.name);
    } else if (each.isNeeded) {
      lacks.emplace_back(each.name);
      remedies.emplace_back(each.remedy);
    }
  }
  const std::string detail = fmt::format("{}", fmt::join(has, ", "));
  if (lacks.empty()) return ok(detail);
  return warning(fmt::format("no {}{}", fmt::join(lacks, ", no "), has.empty() ? "" : "; " + detail),
                 fmt::format("{}", fmt::join(remedies, "; ")));
}

// Where the batches that the link allows would not be any, they only cost tries.
Finding CDeviceExamination::apdu() {
  const bacnet::DeviceProfile& profile = device_->profile();
  std::string detail = fmt::format("{} octets, {}", profile.maxApdu, segmentsText(profile.segmentation));
  if (!link_.enableReadPropm || link_.points.size() < 2) return ok(detail);
  const std::size_t fitting = device_->countInOneRead(itemsOf(link_.points.size()));
  if (fitting < 2)
    return warning(detail + ": one point a request", "set EnableReadPropm to false: batches are read one by one");
  return ok(fmt::format("{}: {} points a request", detail, fitting));
}

std::vector<bacnet::ReadItem> CDeviceExamination::itemsOf(std::size_t most) const {
  std::vector<bacnet::ReadItem> items;
  for (const plant::Point& point : link_.points) {
    if (items.size() == most) break;
    const bool isText = point.type == plant::DataType::kString;
    items.push_back({binding::addressOf(point), isText ? kOctetsOfText : static_cast<std::size_t>(point.size) + 1});
  }
  return items;
}

Finding CDeviceExamination::read() {
  if (link_.points.empty()) return skipped("the link has no points");
  const plant::Point& point = link_.points.front();
  const auto outcome = device_->read(itemsOf(1)).front();
  if (const auto* values = std::get_if<bacnet::Values>(&outcome))
    return ok(fmt::format("{} is {}", textOf(point), bacnet::describe(*values)));
  const auto& failure = std::get<Failure>(outcome);
  if (isSilent(failure)) return fallenSilent(textOf(point));
  return failed(ExitStatus::kPointsFailed, fmt::format("{}: {}", textOf(point), bacnet::failureText(failure)),
                "compare its ObjectType, Instance and PropID with what 'hmi-host objects' lists");
}

Finding CDeviceExamination::batch() {
  if (!link_.enableReadPropm) return skipped("EnableReadPropm is false");
  if (link_.points.size() < 2) return skipped("the link has no second point");
  const auto items = itemsOf(kBatch);
  std::size_t good = 0;
  for (const auto& outcome : device_->read(items)) {
    const auto* failure = std::get_if<Failure>(&outcome);
    if (failure != nullptr && isSilent(*failure)) return fallenSilent(fmt::format("{} points", items.size()));
    if (failure == nullptr) ++good;
  }
  const std::size_t taken = device_->profile().readBatch;
  std::string detail = fmt::format("{} points in one request", items.size());
  if (good < items.size()) detail += fmt::format(", {} of them without a value", items.size() - good);
  if (taken == 0 || taken >= items.size()) return ok(detail);
  if (taken == 1)
    return warning("the device takes one point a request only",
                   "set EnableReadPropm to false: batches are read one by one");
  return warning(fmt::format("the device takes {} points a request only", taken),
                 "nothing to do: larger batches are divided");
}

Finding CDeviceExamination::subscribe() {
  if (settings_->changes == kPolled) return skipped("EnableSCOV is 0");
  const auto point = std::find_if(link_.points.begin(), link_.points.end(), [](const plant::Point& each) {
    return static_cast<bacnet::PropertyId>(each.propId) == property::kPresentValue;
  });
  if (point == link_.points.end()) return skipped("no point is a present value");

  const bool isConfirmed = settings_->changes == binding::LinkSettings::Changes::kConfirmed;
  const std::string which = textOf(*point);
  CTrialSubscription trial(*station_, *place_, binding::addressOf(*point).object, isConfirmed);
  if (const auto failure = trial.subscribe()) {
    if (isSilent(*failure)) return fallenSilent(which);
    return warning(fmt::format("{}: {}", which, bacnet::failureText(*failure)),
                   "nothing to do: such points are polled; with EnableSCOV 0 all are");
  }
  const auto told = trial.awaitNotification();
  const auto failure = trial.cancel();
  if (!told)
    return warning(which + ": subscribed, but no notification has come",
                   "check whether a firewall keeps them out, or set EnableSCOV to 0");
  const std::string detail = fmt::format("{} is told as {}", which, bacnet::describe(*told));
  if (failure)
    return warning(detail + ", but its end is not confirmed: " + bacnet::failureText(*failure),
                   "nothing to do: it ends by itself within a minute");
  return ok(detail + "; cancelled again");
}

}  // namespace tool
