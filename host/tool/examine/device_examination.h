#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "binding/helper_options.h"
#include "binding/link_settings.h"
#include "host/tool/examine/findings.h"
#include "host/tool/network/device.h"
#include "host/tool/network/search.h"
#include "host/tool/network/station.h"
#include "plant/project.h"

namespace tool {

/// Goes on behind the bus: what is between this machine and a link's device, and what the device takes. It asks as a
/// station of its own, from a port of its own, so that the link's helper may run meanwhile; nothing is written to the
/// device's values. From `route` on Ctrl-C is noted and ends each wait.
///
/// The steps are to be called in their order; each relies on those before it that have not failed. Each blocks for 5 s
/// at most and throws CFailure where it fails.
class CDeviceExamination {
 public:
  /// Both outlive the examination.
  CDeviceExamination(const Options& options, const plant::Link& link) : options_(options), link_(link) {}

  Finding port();      ///< the UDP port here: the link's elements and helper.json, and who else has it
  Finding route();     ///< the way there: interface, BBMD, router
  Finding peer();      ///< whether anybody answers at the address that the link names
  Finding iAm();       ///< whether it is the right device, and the only one of its number
  Finding services();  ///< those that the link's elements need
  Finding apdu();      ///< how much the device takes at once
  Finding read();      ///< one point
  Finding batch();     ///< several points in one request
  Finding subscribe();

 private:
  Finding routeTo(const io::Address& address) const;
  Finding routeThroughRouter();
  bool answersTo(std::optional<std::uint32_t> instance);
  Finding silentPeer() const;
  std::string placeText() const;
  Finding judgeIdentity(const std::vector<std::uint32_t>& there, const std::vector<bacnet::Station>& others);
  Finding theOneAt(const bacnet::Station& place, const std::vector<bacnet::Station>& others);
  std::vector<bacnet::ReadItem> itemsOf(std::size_t most) const;

  const Options& options_;
  const plant::Link& link_;
  std::optional<binding::LinkSettings> settings_;
  binding::HelperOptions helperOptions_;
  std::unique_ptr<CStation> station_;
  std::optional<bacnet::Station> place_;  // of the device, once it is known
  std::optional<std::uint32_t> number_;   // of the device, as it says itself
  std::unique_ptr<CDevice> device_;
};

}  // namespace tool
