#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "cbl/bus/bus_protocol.h"
#include "cbl/bus/velix_message.h"
#include "helper/bus/delivery.h"

namespace helper {

/// Packs a reply under its request's identifier. Result: an empty text when the reply is too long for a frame.
std::string packReply(const cbl::CVelixMessage& reply, std::uint32_t identifier);

/// What a slot hands its answer to.
class CReplyTarget {
 public:
  virtual ~CReplyTarget() = default;
  /// Called once for each number that a slot was made with, at any time on the server's thread, in any order.
  virtual void take(std::uint64_t number, Delivery delivery) = 0;
};

/// The place of one request's reply in the order of its connection: answered once, at any time, on the server's thread.
/// Destroyed unanswered it answers with the code "device silent" and an empty element 0. When the client has left, an
/// answer does nothing.
class CReplySlot {
 public:
  CReplySlot(std::shared_ptr<CReplyTarget> target, std::uint64_t number, const cbl::BusFrameInfo& request);
  ~CReplySlot();
  CReplySlot(CReplySlot&& other) noexcept = default;
  CReplySlot& operator=(CReplySlot&&) = delete;

  void answer(Delivery delivery);
  /// The same with the bytes of one frame, as they are.
  void answer(std::string frame);

  std::uint32_t identifier() const { return identifier_; }
  std::uint8_t type() const { return type_; }

  /// What the line of a traced request says besides, such as who bends the reply.
  void setRemark(std::string remark) { remark_ = std::move(remark); }
  const std::string& remark() const { return remark_; }

 private:
  std::shared_ptr<CReplyTarget> target_;  // none once answered or moved from
  std::uint64_t number_;
  std::uint32_t identifier_;
  std::uint8_t type_;
  std::string remark_;
};

}  // namespace helper
