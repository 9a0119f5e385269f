#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "bacnet/client/device_client.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "io/fake/fake_clock.h"
#include "io/fake/fake_network.h"
#include "support/scripted_device.h"

namespace test {

using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr io::Address kPanel{0x0A000001, 47808};
constexpr io::Address kDevice{0x0A000002, 47808};
constexpr io::Address kElsewhere{0x0A000003, 47808};
constexpr io::Address kBroadcast{0x0A0000FF, 47808};
constexpr std::uint32_t kDeviceId = 4711;

inline bacnet::ObjectId analog(std::uint32_t instance) {
  return {bacnet::object_type::kAnalogValue, instance};
}
inline bacnet::PropertyAddress presentValue(bacnet::ObjectId object) {
  return {object, {bacnet::property::kPresentValue, {}}};
}
inline std::vector<bacnet::ReadItem> presentValues(std::size_t n) {
  std::vector<bacnet::ReadItem> items;
  for (std::size_t i = 0; i < n; ++i) items.push_back({presentValue(analog(static_cast<std::uint32_t>(i))), 5});
  return items;
}
inline std::vector<bacnet::WriteItem> writesOf(std::size_t n, float value) {
  std::vector<bacnet::WriteItem> items;
  for (std::size_t i = 0; i < n; ++i) {
    items.push_back({presentValue(analog(static_cast<std::uint32_t>(i))), {value}, 8});
  }
  return items;
}

/// An outcome in a few words: "21.5", "error 31", "reject 9", "abort 4", "silent" ...
std::string text(const bacnet::ReadOutcome& outcome);
std::string text(const bacnet::WriteOutcome& outcome);  ///< "written" where there is no failure

/// A client and one scripted device with 1000 analog values, value i holding i, on a clock and network of their own.
class DeviceClient : public ::testing::Test {
 protected:
  DeviceClient();

  /// Makes the client; what has come before is forgotten.
  void make(const std::function<void(bacnet::DeviceSettings&)>& change = [](auto&) {});

  /// Runs until the outcomes are there; `took` is the time since the call.
  std::vector<std::string> read(std::vector<bacnet::ReadItem> items, milliseconds within = milliseconds(2500));
  std::vector<std::string> write(std::vector<bacnet::WriteItem> items, milliseconds within = milliseconds(2500));
  std::string readOne(std::uint32_t instance) { return read({{presentValue(analog(instance)), 5}}).front(); }
  /// Makes the next `n` requests that the device would hear get lost.
  void loseRequests(int n);
  /// Makes what the device sends take so long.
  void delayAnswers(int ms);
  int now() const;  ///< ms since the client was made
  void wait(io::Duration duration) { clock.advance(duration); }

  io::CFakeClock clock;
  io::CFakeNetwork net{clock};
  std::unique_ptr<io::CDatagrams> socket = net.open(kPanel);
  bacnet::CNetwork network{*socket, clock};
  CScriptedDevice device{net, clock, kDevice, kDeviceId};
  std::unique_ptr<bacnet::CDeviceClient> client;
  std::vector<std::string> events;
  io::TimePoint made;
  int took = 0;
};

}  // namespace test
