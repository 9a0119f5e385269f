#pragma once

#include <cstdint>

#include "bacnet/network/network.h"
#include "bacnet/server/cov_server.h"
#include "bacnet/server/device.h"
#include "bacnet/server/notifier.h"
#include "bacnet/server/responder.h"
#include "bacnet/server/transactions.h"
#include "io/timers.h"

namespace bacnet::server {

/// A device on a network: hears requests and answers them. One thread, never blocks.
class CServer {
 public:
  /// All three outlive it; the network's APDUs come here from now on. `broadcast` is where its own I-Am goes to.
  CServer(CNetwork& network, io::CTimers& timers, CDevice& device, const io::Address& broadcast);

  /// I-Am, to everybody.
  void announce();
  /// Values of the device's objects have changed by themselves: subscribers are told.
  void valuesChanged() { covServer_.valuesChanged(); }
  /// Forgets its subscriptions and what is under way, as a device does that has lost its power for a moment.
  void restart();

 private:
  void onApdu(const Incoming& from, const Apdu& apdu);
  void onRequest(const Station& from, const ConfirmedRequest& request);
  void execute(const Station& from, const ConfirmedRequest& request);
  void onUnconfirmed(const Incoming& from, const UnconfirmedRequest& request);
  void onAbort(const Station& from, const AbortPdu& abort);
  void replyToAll(const Incoming& asker, const UnconfirmedRequest& reply);

  CNetwork& network_;
  CDevice& device_;
  io::Address broadcast_;
  CNotifier notifier_;
  CCovServer covServer_;
  CResponder responder_;
  CSegmentedRequests requests_;
  CAnswers answers_;
};

}  // namespace bacnet::server
