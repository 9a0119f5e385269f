#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "bacnet/codec/value.h"
#include "bacnet/network/network.h"
#include "bacnet/service/discovery.h"
#include "bacnet/service/failure.h"

namespace bacnet {

/// Why a property was not read or written.
struct Failure {
  enum class Kind {
    kSilent,       ///< no answer in time, nobody at its port, or it has been silent and was not asked
    kNotFound,     ///< where the device is has not been found out
    kError,        ///< the device's Error; `error`
    kReject,       ///< the device's Reject; `reason`
    kAbort,        ///< the device's Abort, or ours where an answer had to be given up; `reason`
    kUnreachable,  ///< the network says no: a router's Reject-Message-To-Network
    kUndecodable,  ///< an answer came that is none to the question, or not to be read
    kTooLong,      ///< the request fits no APDU of the device, and it takes no segments
  };
  Kind kind = Kind::kSilent;
  Error error;
  std::uint8_t reason = 0;
};

struct PropertyAddress {
  ObjectId object;
  PropertyReference reference;
};
struct ReadItem {
  PropertyAddress address;
  std::size_t expectedOctets = 8;  ///< of the value alone as it travels, for the size of batches
};
struct WriteItem {
  PropertyAddress address;
  Values values;
  std::optional<std::uint8_t> priority;  ///< 1 to 16
};
using ReadOutcome = std::variant<Values, Failure>;
using WriteOutcome = std::optional<Failure>;  ///< nothing: written

/// How a device is found and what may be asked of it.
struct DeviceSettings {
  std::optional<std::uint32_t> deviceId;
  std::optional<Station> station;         ///< where it is; none: Who-Is for `deviceId`
  std::optional<io::Address> router;      ///< Who-Is goes through this router to `network`
  std::uint16_t network = kLocalNetwork;  ///< of a device to be found; without `router` that is asked for, too
  std::optional<std::string> remoteMac;   ///< its address there, where only the router has to be found
  io::Address broadcast;                  ///< where Who-Is goes to
  bool mayReadMultiple = false;
  bool mayWriteMultiple = false;
  std::uint32_t process = 1;  ///< of the subscriptions
};

/// What a device says of itself, or what has to be assumed until it does.
struct DeviceProfile {
  std::optional<std::uint32_t> deviceId;
  std::optional<Station> station;
  std::size_t maxApdu = 480;
  Segmentation segmentation = Segmentation::kNone;
  std::uint32_t vendor = 0;
  BitString services;  ///< protocol-services-supported; empty where it has not been read
  bool isSilent = false;
  std::size_t readBatch = 0;  ///< properties a request that the device has turned out to take; 0: no limit known
  std::size_t writeBatch = 0;
};

/// One device as a client sees it: finds it, keeps a queue of requests to it, splits and merges them into what it
/// takes, gives up in time, probes it while it is silent, and keeps subscriptions. One thread, never blocks.
///
/// A request goes out at 0, 1 and 2 s and counts as unanswered at 2.5 s; from then on the device is silent and what is
/// asked of it fails at once, until anything is heard from it. Which of a device's failures a caller sees is in
/// Failure; a batch fails point by point. Callbacks may call anything here but must not destroy the client.
class CDeviceClient {
 public:
  /// What has changed, for a log: one line each, never one a request.
  using EventHandler = std::function<void(const std::string& line)>;

  CDeviceClient(CNetwork& network, io::CTimers& timers, DeviceSettings settings);
  ~CDeviceClient();  // what is under way is dropped: its callbacks are destroyed, not called
  CDeviceClient(const CDeviceClient&) = delete;
  CDeviceClient& operator=(const CDeviceClient&) = delete;

  void onEvent(EventHandler handler);

  /// Looks for the device and asks it what it can do; reads and writes do so by themselves when it has not been done.
  /// A service for several properties at once that it did not know is tried again, as it is after a restart; here once
  /// in ten minutes.
  void start();
  const DeviceProfile& profile() const;

  /// One outcome an item, in order, exactly once and at `deadline` at the latest; what has not come by then is kSilent,
  /// kNotFound while the device is being looked for. With thousands of calls waiting another one fails at once.
  /// The transaction goes on behind it: a value that comes late answers the next read of the same property within 10 s.
  /// A silent device's items fail at once. Possibly calls back before it returns.
  void read(std::vector<ReadItem> items, io::TimePoint deadline, std::function<void(std::vector<ReadOutcome>)> done);
  /// The same from the device itself, whatever is known already.
  void readAnew(std::vector<ReadItem> items, io::TimePoint deadline,
                std::function<void(std::vector<ReadOutcome>)> done);
  void write(std::vector<WriteItem> items, io::TimePoint deadline, std::function<void(std::vector<WriteOutcome>)> done);

  /// What a subscription has told of a property, as far as `read` would answer with it; null where it would not. Good
  /// until the loop goes on.
  const Values* told(const PropertyAddress& address) const;

  /// How many of `items`, from the first on, the device most likely takes in one request just now.
  std::size_t countInOneRead(const std::vector<ReadItem>& items) const;

  /// Subscribes to the changes of `object`'s present value, keeps that alive for the client's life, and answers reads
  /// of it without asking the device while the subscription is known to work.
  void subscribe(ObjectId object, bool confirmed);

  /// What a network hears. Whoever owns it hands on all that comes in, broadcasts too: what is none of this device's is
  /// left alone. `onRefused` is for the sockets' handler of that name.
  void onApdu(const Incoming& from, const Apdu& apdu);
  void onMessage(const Incoming& from, const NetworkMessage& message);
  void onRefused(const io::Address& to);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace bacnet
