#include "host/tool/live/link_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "bacnet/client/device_text.h"
#include "bacnet/codec/describe.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "bacnet/number/services.h"
#include "binding/failure_codes.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/failure.h"
#include "host/tool/link/result_codes.h"
#include "host/tool/live/point_check.h"
#include "host/tool/network/device.h"

namespace tool {

namespace {

namespace property = bacnet::property;
using plant::Severity;

bacnet::ObjectId deviceObject(std::uint32_t instance) {
  return {bacnet::object_type::kDevice, instance};
}

bacnet::ReadOutcome identifierOf(CDevice& device, std::uint32_t instance) {
  return device.read({{{deviceObject(instance), {property::kObjectIdentifier, {}}}, 5}}).front();
}

std::optional<std::uint32_t> instanceIn(const bacnet::ReadOutcome& outcome) {
  const auto* values = std::get_if<bacnet::Values>(&outcome);
  const auto* id = values && values->size() == 1 ? std::get_if<bacnet::ObjectId>(&values->front()) : nullptr;
  return id ? std::optional(id->instance) : std::nullopt;
}

// One link while it is compared with its device.
class CLinkCheck {
 public:
  CLinkCheck(const plant::Link& link, const StationOptions& station)
      : link_(link), station_(station), settings_(deviceOf(link)) {
    settings_.mayReadMultiple = true;  // here it is only a matter of speed
    device_ = std::make_unique<CDevice>(station_, settings_);
  }

  void check(CheckedLink& checked) {
    sayProgress(fmt::format("link {}: asking for its device", link_.linkId));
    const bool isFound = findDevice(checked);
    sayProgress("");
    if (!isFound) return;
    checked.isReached = true;
    readDevice(checked.device);
    const Expectations expectations{link_.enableSCOV == 1 || link_.enableSCOV == 2,
                                    takes(bacnet::service_bit::kSubscribeCov).value_or(true)};
    readPoints(expectations, checked);
    for (CheckedPoint& each : checked.points) each = checkPoint(each.point, expectations, answers_);
    const auto isOpen = [](const CheckedPoint& each) { return !each.code; };
    checked.isWhole = std::none_of(checked.points.begin(), checked.points.end(), isOpen);
    if (!checked.isWhole && !isInterrupted())
      add(checked, Severity::kError, "device", "it has fallen silent, and not every point was read",
          textOf(static_cast<std::int32_t>(binding::ResultCode::kDeviceSilent)).remedy);
    checkServices(expectations, checked);
  }

 private:
  static void add(CheckedLink& checked, Severity severity, const char* check, std::string problem, std::string remedy) {
    checked.discrepancies.push_back({severity, check, std::move(problem), std::move(remedy)});
  }

  // The device of the project's instance, or whoever is at its address.
  bool findDevice(CheckedLink& checked) {
    auto outcome = identifierOf(*device_, settings_.deviceId.value_or(bacnet::kLargestInstance));
    checked.device.instance = instanceIn(outcome);
    const auto* failure = std::get_if<bacnet::Failure>(&outcome);
    const bool isSomebodyElse = failure != nullptr && failure->kind == bacnet::Failure::Kind::kError;
    if (isSomebodyElse && settings_.deviceId && settings_.station) {
      settings_.deviceId.reset();
      device_ = std::make_unique<CDevice>(station_, settings_);
      outcome = identifierOf(*device_, bacnet::kLargestInstance);
      checked.device.instance = instanceIn(outcome);
      failure = std::get_if<bacnet::Failure>(&outcome);
      if (checked.device.instance)
        add(checked, Severity::kError, "device",
            fmt::format("the device there has instance {}, not {}", *checked.device.instance, link_.deviceId),
            "mend DeviceId or Ip");
    }
    if (device_->profile().station) checked.device.address = bacnet::stationText(*device_->profile().station);
    if (isInterrupted()) return false;
    if (failure == nullptr || failure->kind == bacnet::Failure::Kind::kError) return true;  // it answers, at least
    const auto code = static_cast<std::int32_t>(binding::codeOf(*failure));
    const auto [meaning, remedy] = textOf(code);
    add(checked, Severity::kError, "device", fmt::format("{} (code {})", meaning, code), remedy);
    return false;
  }

  void readDevice(DeviceText& text) {
    const auto object = deviceObject(text.instance.value_or(bacnet::kLargestInstance));
    const std::pair<bacnet::PropertyId, std::string DeviceText::*> texts[] = {
        {property::kObjectName, &DeviceText::name},
        {property::kVendorName, &DeviceText::vendor},
        {property::kModelName, &DeviceText::model},
        {property::kFirmwareRevision, &DeviceText::firmware}};
    for (const auto& [id, member] : texts) answers_.want(object, {id, {}}, kOctetsOfText);
    answers_.fetch(*device_, fmt::format("link {}", link_.linkId));
    for (const auto& [id, member] : texts) {
      if (const auto* values = answers_.values(object, {id, {}})) text.*member = bacnet::describe(*values);
    }
  }

  void readPoints(const Expectations& expectations, const CheckedLink& checked) {
    const std::string what = fmt::format("link {}", link_.linkId);
    for (const CheckedPoint& each : checked.points) wantForPoint(each.point, expectations, answers_);
    if (!answers_.fetch(*device_, what)) return;
    for (const CheckedPoint& each : checked.points) wantForFailure(each.point, answers_);
    answers_.fetch(*device_, what);
  }

  // Nothing where the device does not tell.
  std::optional<bool> takes(std::uint32_t serviceBit) const {
    const auto& bits = device_->profile().services.bits;
    if (bits.empty()) return std::nullopt;
    return serviceBit < bits.size() && bits[serviceBit];
  }

  void checkServices(const Expectations& expectations, CheckedLink& checked) {
    if (link_.enableReadPropm && takes(bacnet::service_bit::kReadPropertyMultiple) == false)
      add(checked, Severity::kWarning, "batch", "the device does not take ReadPropertyMultiple: points are read singly",
          "write EnableReadPropm false");
    if (link_.enableWritePropm && takes(bacnet::service_bit::kWritePropertyMultiple) == false)
      add(checked, Severity::kWarning, "batch",
          "the device does not take WritePropertyMultiple: points are written singly", "write EnableWritePropm false");
    if (!expectations.isNotified) return;
    const auto polled = std::count_if(checked.points.begin(), checked.points.end(),
                                      [](const CheckedPoint& each) { return each.changes == "polled"; });
    if (!expectations.takesSubscriptions)
      add(checked, Severity::kWarning, "changes", "the device does not take SubscribeCOV: every point is polled",
          "write EnableSCOV 0");
    else if (polled > 0)
      add(checked, Severity::kWarning, "changes",
          fmt::format("of {} present values no changes are notified, as far as can be told: they lack status-flags or "
                      "cov-increment, and are polled",
                      polled),
          "give them a cov-increment in the device, or leave it so");
  }

  const plant::Link& link_;
  CStation station_;
  bacnet::DeviceSettings settings_;
  std::unique_ptr<CDevice> device_;
  CPropertyAnswers answers_;
};

}  // namespace

CheckedLink checkLink(const Options& options, const plant::Link& link) {
  CheckedLink checked;
  checked.number = link.linkId;
  for (const plant::Point& point : link.points) {
    checked.points.emplace_back();
    checked.points.back().point = point;
  }
  const auto failure =
      failureOf([&] { CLinkCheck(link, stationFor(link, options.broadcastInterface())).check(checked); });
  if (!failure) return checked;
  if (failure->status() == ExitStatus::kUsage || failure->status() == ExitStatus::kInternal) throw CFailure(*failure);
  checked.discrepancies.push_back({Severity::kError, "device", failure->problem(), failure->remedy()});
  return checked;
}

}  // namespace tool
