#pragma once

#include <cstdint>
#include <optional>

#include "bacnet/client/device_client.h"
#include "bacnet/client/transactions.h"
#include "bacnet/service/cov.h"
#include "host/tool/network/station.h"

namespace tool {

/// A subscription to one object that is made to see whether it works, and cancelled again with this object at the
/// latest; one whose end the device has not heard of ends by itself within a minute.
class CTrialSubscription {
 public:
  /// `station` outlives this object, which takes what comes in from it meanwhile.
  CTrialSubscription(CStation& station, const bacnet::Station& device, const bacnet::ObjectId& object,
                     bool isConfirmed);
  ~CTrialSubscription();
  CTrialSubscription(const CTrialSubscription&) = delete;
  CTrialSubscription& operator=(const CTrialSubscription&) = delete;

  /// Blocks for 3 s where the device does not answer. Result: nothing when it is made.
  std::optional<bacnet::Failure> subscribe();
  /// The present value that the first notification brings; nothing when none has come within 3 s.
  std::optional<bacnet::Values> awaitNotification();
  /// Blocks as `subscribe`. With Ctrl-C it is sent, but the answer is not waited for.
  std::optional<bacnet::Failure> cancel();

 private:
  std::optional<bacnet::Failure> ask(const bacnet::SubscribeCov& request);
  void take(const bacnet::Incoming& from, const bacnet::Apdu& apdu);
  void note(std::string_view data);

  CStation& station_;
  bacnet::Peer device_;
  bacnet::CTransactions transactions_;
  bacnet::SubscribeCov subscription_;
  std::optional<bacnet::Values> told_;
  bool mayBeMade_ = false;
};

}  // namespace tool
