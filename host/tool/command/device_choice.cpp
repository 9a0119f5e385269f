#include "host/tool/command/device_choice.h"

#include <fmt/format.h>

#include <charconv>
#include <vector>

#include "bacnet/client/device_text.h"
#include "host/tool/failure.h"
#include "host/tool/link/project.h"
#include "host/tool/network/device.h"

namespace tool {

namespace {

std::optional<std::uint32_t> instanceIn(const std::string& text) {
  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number);
  const bool isInstance = failure == std::errc() && stop == end && number < bacnet::kLargestInstance;
  return isInstance ? std::optional(number) : std::nullopt;
}

[[noreturn]] void complainOfSilence(const DeviceChoice& choice, const std::string& problem) {
  throw CFailure(
      ExitStatus::kUnreachable, fmt::format("{}: {}", choice.text, problem),
      "check its power, its address and the network between, and name the network interface with --interface",
      choice.isOfLink ? Subject::kLink : Subject::kDevice);
}

}  // namespace

DeviceChoice deviceChoice(const Options& options, const SearchOptions& search, const std::string& text) {
  if (text.empty()) {
    const plant::Link link = readPresentLink(options);
    return {stationFor(link, options.broadcastInterface()), deviceOf(link), std::nullopt,
            fmt::format("the device of link {}", link.linkId), true};
  }
  DeviceChoice choice;
  choice.station = search.station(options);
  if (const auto instance = instanceIn(text)) {
    choice.search = search.search();
    choice.search->range = {*instance, *instance};
    choice.text = fmt::format("device {}", text);
    return choice;
  }
  const auto address = io::parseAddress(text, search.port);
  if (!address)
    throw CFailure(ExitStatus::kUsage, fmt::format("'{}' is neither a device instance nor an address", text),
                   "write 3001, or 192.168.10.21");
  choice.device.station = bacnet::Station{*address, std::nullopt};
  choice.text = text;
  return choice;
}

std::optional<FoundDevice> findDevice(CStation& station, const DeviceChoice& choice) {
  std::string problem;
  if (!choice.search) {
    auto found = identify(station, choice.device, problem);
    if (!found && !isInterrupted()) complainOfSilence(choice, problem);
    return found;
  }
  const std::vector<FoundDevice> found = searchFor(station, *choice.search);
  if (found.size() == 1) return found.front();
  if (isInterrupted()) return std::nullopt;
  if (found.empty()) complainOfSilence(choice, "no device of that instance has answered");
  std::string places;
  for (const FoundDevice& each : found) places += (places.empty() ? "" : "; ") + bacnet::stationText(each.station);
  throw CFailure(ExitStatus::kUsage, fmt::format("{} devices have that instance: {}", found.size(), places),
                 "name one by its address, and give each an instance of its own");
}

}  // namespace tool
