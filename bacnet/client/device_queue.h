#pragma once

#include <cstddef>
#include <deque>
#include <memory>

#include "bacnet/client/transactions.h"
#include "bacnet/client/work.h"

namespace bacnet {

/// What waits for one device: whoever has a request to send gets one turn after the other, however much the others
/// have. Sends nothing before it has been opened.
class CDeviceQueue {
 public:
  explicit CDeviceQueue(CTransactions& transactions) : transactions_(transactions) {}

  /// Nothing if it is in the queue already.
  void add(std::shared_ptr<CWork> work);

  /// `peer` may be sent to, `window` requests at a time.
  void open(const Peer& peer, std::size_t window);
  void close() { window_ = 0; }
  bool isOpen() const { return window_ > 0; }
  /// So many wait that another one would not get its turn in time.
  bool isFull() const { return waiting_.size() >= kMostWaiting; }

  /// Drops everything.
  void failAll(const Failure& failure);

  /// Sends what may be sent now.
  void pump();

 private:
  static constexpr std::size_t kMostWaiting = 4096;

  CTransactions& transactions_;
  std::deque<std::shared_ptr<CWork>> waiting_;
  Peer peer_;
  std::size_t window_ = 0;
  bool isPumping_ = false;
};

}  // namespace bacnet
