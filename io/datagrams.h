#pragma once

#include <functional>
#include <string_view>

#include "io/address.h"

namespace io {

/// One UDP socket, or what stands for it in a test. Used on the thread of its loop; never blocks. Handlers are called
/// from the loop, never from within `send`; a handler may destroy the object that it belongs to.
class CDatagrams {
 public:
  /// `bytes` is valid during the call only.
  using ReceiveHandler = std::function<void(const Address& from, std::string_view bytes)>;
  /// The kernel has learnt that nobody listens at `to` (a closed port); later sends are not affected.
  using RefusedHandler = std::function<void(const Address& to)>;

  virtual ~CDatagrams() = default;

  /// Sends or drops, as a network does: a full buffer, a missing route and a closed port lose the datagram.
  virtual void send(const Address& to, std::string_view bytes) = 0;

  virtual void onReceive(ReceiveHandler handler) = 0;
  virtual void onRefused(RefusedHandler handler) = 0;

  /// Where answers come to; the port that was really bound.
  virtual Address local() const = 0;
};

}  // namespace io
