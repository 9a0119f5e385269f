#pragma once

#include <memory>
#include <string>
#include <vector>

#include "reliability/network/field.h"
#include "reliability/network/plant.h"

namespace reliability {

/// A plant with links to devices that a fault is for, its targets, and others that it has nothing to do with.
struct Scene {
  explicit Scene(unsigned seed) : plant(seed) {}

  template <typename Act>
  void eachTarget(Act act) {
    for (const auto& link : links) {
      if (link->options().isTarget) act(*link);
    }
  }

  CPlant plant;
  std::vector<std::unique_ptr<CLink>> links;
  std::unique_ptr<CRouter> router;
  std::unique_ptr<CFlood> flood;
  bool hasMoved = false;
};

/// What is done to the targets for a while.
struct Fault {
  const char* name;
  Weather weather;
  void (*begin)(Scene&) = nullptr;
  void (*end)(Scene&) = nullptr;                 ///< returns when what was gone is there
  const std::vector<LinkKind>* kinds = nullptr;  ///< of the targets
  int others = 1;                                ///< links without the fault
  bool keepsOrder = true;
  bool isForAll = false;               ///< the others suffer, too
  bool setsClockBack = false;          ///< from beginning to end
  const char* mustSay = nullptr;       ///< in the log of each target's helper
  std::chrono::milliseconds pause{0};  ///< between the calls of a host, where it is not the run's
};

const std::vector<Fault>& allFaults();
/// Mild ones, for hours.
const Fault& everydayFault();
/// Devices and hosts at work, without the fault; `pause` is between two calls of a host.
std::unique_ptr<Scene> makeScene(const Fault& fault, unsigned seed, std::chrono::milliseconds pause);

}  // namespace reliability
