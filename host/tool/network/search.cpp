#include "host/tool/network/search.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <tuple>

#include "bacnet/codec/describe.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "host/tool/console/error_relay.h"

namespace tool {

namespace {

using namespace std::chrono_literals;

constexpr int kTries = 3;
constexpr std::size_t kAtOnce = 8;  // devices asked at a time: they may share one router
constexpr io::Duration kSearchPatience = 10s;

using Found = std::map<std::pair<std::uint32_t, bacnet::Station>, bacnet::IAm>;

void ask(CStation& station, const Search& search) {
  if (search.place)
    station.network().send(*search.place, bacnet::UnconfirmedRequest{bacnet::UnconfirmedService::kWhoIs, {}}, false);
  const std::string data = encode(bacnet::WhoIs{search.range});
  const bacnet::UnconfirmedRequest request{bacnet::UnconfirmedService::kWhoIs, data};
  if (search.router) return station.network().broadcastThrough(*search.router, search.network, request);
  station.network().broadcast(station.broadcast(), search.network, request);
}

bool isAskedFor(const Search& search, const bacnet::Station& from, std::uint32_t device) {
  return from == search.place || !search.range || (device >= search.range->first && device <= search.range->second);
}

// Everybody hears the answers to everybody's questions.
void note(const Search& search, const bacnet::Incoming& from, const bacnet::Apdu& apdu, Found& found) {
  const auto* request = std::get_if<bacnet::UnconfirmedRequest>(&apdu);
  if (request == nullptr || request->service != bacnet::UnconfirmedService::kIAm) return;
  const auto iAm = bacnet::parseIAm(request->data);
  if (iAm && isAskedFor(search, from.station, iAm->device)) found[{iAm->device, from.station}] = *iAm;
}

std::vector<FoundDevice> listOf(const Found& found) {
  std::vector<FoundDevice> devices;
  for (const auto& [key, iAm] : found) {
    const bool isDuplicate = !devices.empty() && devices.back().iAm.device == iAm.device;
    if (isDuplicate) devices.back().isDuplicate = true;
    devices.push_back({key.second, iAm, isDuplicate});
  }
  return devices;
}

std::string textIn(const bacnet::ReadOutcome& outcome) {
  const auto* values = std::get_if<bacnet::Values>(&outcome);
  return values ? bacnet::describe(*values) : "";
}

// One device that is being asked.
class CDetailReader {
 public:
  CDetailReader(CStation& station, DeviceDetails& details)
      : station_(station), details_(details), client_(station.network(), station.timers(), settingsOf(details.device)) {
    station_.attach(client_);
    const bacnet::ObjectId self{bacnet::object_type::kDevice, details.device.iAm.device};
    const auto item = [&](bacnet::PropertyId property) {
      return bacnet::ReadItem{{self, {property, {}}}, kExpectedText};
    };
    client_.read({item(bacnet::property::kObjectName), item(bacnet::property::kModelName)},
                 station.timers().now() + kSearchPatience,
                 [this](const std::vector<bacnet::ReadOutcome>& outcomes) { take(outcomes); });
  }
  ~CDetailReader() { station_.detach(client_); }
  CDetailReader(const CDetailReader&) = delete;
  CDetailReader& operator=(const CDetailReader&) = delete;

  bool isDone() const { return details_.isAsked; }

 private:
  static constexpr std::size_t kExpectedText = 40;  // octets

  void take(const std::vector<bacnet::ReadOutcome>& outcomes) {
    details_.name = textIn(outcomes[0]);
    details_.model = textIn(outcomes[1]);
    details_.services = client_.profile().services;
    details_.isAnswering = !client_.profile().isSilent;
    details_.isAsked = true;
    station_.wake();
  }

  CStation& station_;
  DeviceDetails& details_;
  bacnet::CDeviceClient client_;
};

}  // namespace

bacnet::DeviceSettings settingsOf(const FoundDevice& device) {
  bacnet::DeviceSettings settings;
  settings.deviceId = device.iAm.device;
  settings.station = device.station;
  settings.mayReadMultiple = true;
  return settings;
}

std::vector<FoundDevice> searchDevices(CStation& station, const Search& search) {
  Found found;
  station.onApdu([&](const bacnet::Incoming& from, const bacnet::Apdu& apdu) { note(search, from, apdu, found); });
  for (int i = 0; i < kTries && !isInterrupted(); ++i) {
    ask(station, search);
    const io::Duration wait = i + 1 < kTries ? search.patience / 4 : search.patience / 2;
    station.waitFor([] { return false; }, wait);
    sayProgress(fmt::format("{} devices have answered", found.size()));
  }
  station.onApdu({});
  sayProgress("");
  return listOf(found);
}

std::vector<DeviceDetails> readDetails(CStation& station, const std::vector<FoundDevice>& devices) {
  std::vector<DeviceDetails> all(devices.size());
  std::vector<std::unique_ptr<CDetailReader>> readers;
  std::size_t next = 0;
  std::size_t done = 0;
  for (std::size_t i = 0; i < devices.size(); ++i) all[i].device = devices[i];
  while (done < all.size() && !isInterrupted()) {
    while (next < all.size() && readers.size() < kAtOnce)
      readers.push_back(std::make_unique<CDetailReader>(station, all[next++]));
    const auto firstDone = [&] {
      return std::find_if(readers.begin(), readers.end(), [](const auto& each) { return each->isDone(); });
    };
    station.waitFor([&] { return firstDone() != readers.end(); }, kSearchPatience);
    for (auto each = firstDone(); each != readers.end(); each = firstDone()) {
      readers.erase(each);
      ++done;
    }
    sayProgress(fmt::format("{} of {} devices asked", done, all.size()));
  }
  sayProgress("");
  return all;
}

}  // namespace tool
