#include "host/tool/page/discovery.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "host/tool/console/quiet_thread.h"
#include "host/tool/failure.h"
#include "host/tool/network/device.h"
#include "host/tool/network/device_record.h"
#include "host/tool/network/search.h"
#include "host/tool/page/board.h"

namespace tool {

namespace {

constexpr std::chrono::seconds kDiscoveryPatience{3};

// Links whose parameters make no connection are the doctor's to tell of.
std::vector<StationOptions> placesOf(const std::vector<plant::Link>& links, const std::string& networkInterface) {
  std::vector<StationOptions> places;
  for (const plant::Link& link : links) {
    StationOptions place;
    if (failureOf([&] { place = stationFor(link, networkInterface); })) continue;
    const auto isSame = [&](const StationOptions& each) { return each.port == place.port && each.bbmd == place.bbmd; };
    if (std::none_of(places.begin(), places.end(), isSame)) places.push_back(place);
  }
  if (places.empty()) places.push_back({networkInterface, bacnet::kStandardPort, std::nullopt});
  return places;
}

void searchAt(const StationOptions& place, Record& devices) {
  CStation station(place);
  if (!station.canBroadcast())
    throw CFailure(ExitStatus::kUsage, "there is no network interface to ask on but the loopback",
                   "start hmi-host serve with --interface");
  Search search;
  search.patience = kDiscoveryPatience;
  for (const DeviceDetails& each : readDetails(station, searchDevices(station, search)))
    devices.push_back(recordOf(each));
}

}  // namespace

CDiscovery::CDiscovery(const Options& options, const std::vector<plant::Link>& links)
    : places_(placesOf(links, options.broadcastInterface())) {}

CDiscovery::~CDiscovery() {
  if (thread_.joinable()) thread_.join();
}

void CDiscovery::start() {
  const std::lock_guard lock(mutex_);
  if (isSearching_) return;
  if (thread_.joinable()) thread_.join();  // it has nothing more to do
  isSearching_ = true;
  thread_ = startWithoutSignals([this] { search(); });
}

void CDiscovery::search() {
  Record devices = Record::array();
  Record error;
  try {
    for (const StationOptions& place : places_) searchAt(place, devices);
  } catch (const std::exception& failure) {
    error = failure.what();
  }
  const std::lock_guard lock(mutex_);
  isSearching_ = false;
  devices_ = std::move(devices);
  searched_ = nowMs();
  error_ = std::move(error);
}

Record CDiscovery::state() const {
  const std::lock_guard lock(mutex_);
  Record record;
  record["devices"] = devices_;
  record["searched"] = searched_;
  record["isSearching"] = isSearching_;
  record["error"] = error_;
  return record;
}

}  // namespace tool
