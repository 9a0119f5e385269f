#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bacnet/server/object.h"
#include "bacnet/service/discovery.h"

namespace bacnet::server {

/// What a device can do and how much it takes; may change while it runs, and its Device object tells it.
struct Abilities {
  std::size_t maxApdu = 1476;  ///< octets, one of kApduSizes
  Segmentation segmentation = Segmentation::kBoth;
  std::uint8_t maxSegments = 64;  ///< that it takes
  bool readsMultiple = true;
  bool writesMultiple = true;
  bool notifiesChanges = true;
  std::size_t mostSubscriptions = 128;
};

/// Who made the device.
struct Identity {
  std::uint32_t instance = 0;  ///< 0 to 4194302
  std::string name;
  std::string vendorName;
  std::uint16_t vendor = 0;
  std::string model;
  std::string firmware;
  std::string software;
  std::string description;
  std::string location;
};

/// A device's objects, its own Device object first.
class CDevice {
 public:
  explicit CDevice(const Identity& identity);
  CDevice(const CDevice&) = delete;
  CDevice& operator=(const CDevice&) = delete;

  std::uint32_t instance() const { return objects_.front()->id().instance; }
  void setInstance(std::uint32_t instance) { objects_.front()->setInstance(instance); }
  std::uint16_t vendor() const { return vendor_; }
  CObject& deviceObject() { return *objects_.front(); }
  Abilities& abilities() { return abilities_; }
  const Abilities& abilities() const { return abilities_; }

  /// Result: the object, owned by the device; null, with nothing added, where there is one of its identifier or name.
  CObject* add(std::unique_ptr<CObject> object);

  /// Null where there is none. As a Device's instance the largest number means this one.
  CObject* find(ObjectId id);
  CObject* findByName(const std::string& name);
  const std::vector<std::unique_ptr<CObject>>& objects() const { return objects_; }

 private:
  std::uint16_t vendor_;
  Abilities abilities_;
  std::vector<std::unique_ptr<CObject>> objects_;  // in the order of the object list
  std::map<ObjectId, CObject*> byId_;              // without the Device object, whose instance may change
  std::map<std::string, CObject*> byName_;
};

}  // namespace bacnet::server
