#pragma once

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "bacnet/codec/describe.h"
#include "bacnet/network/network.h"
#include "bacnet/number/properties.h"
#include "bacnet/service/cov.h"
#include "bacnet/service/property.h"
#include "io/fake/fake_network.h"

namespace support {

/// An APDU with bytes of its own.
struct HeldApdu {
  explicit HeldApdu(const bacnet::Apdu& apdu)
      : bytes(std::make_unique<std::string>(bacnet::encodeApdu(apdu))), view(*bacnet::parseApdu(*bytes)) {}
  std::unique_ptr<std::string> bytes;
  bacnet::Apdu view;
};

/// A station that asks one device for one thing at a time, and keeps all that it hears.
class BacnetAsker {
 public:
  /// Lets time pass until a condition holds, or the limit is over.
  using Wait = std::function<void(const std::function<bool()>& condition, io::Duration limit)>;

  BacnetAsker(io::CTimers& timers, std::unique_ptr<io::CDatagrams> socket, io::Address device, Wait wait)
      : socket_(std::move(socket)), network_(*socket_, timers), device_{device, std::nullopt}, wait_(std::move(wait)) {
    network_.onApdu([this](const bacnet::Incoming&, const bacnet::Apdu& apdu) { heard.emplace_back(apdu); });
  }
  BacnetAsker(io::CFakeClock& clock, io::CFakeNetwork& network, io::Address own, io::Address device)
      : BacnetAsker(clock, network.open(own), device,
                    [&clock](const auto& condition, io::Duration limit) { clock.runUntil(condition, limit); }) {}

  void send(const bacnet::Apdu& apdu) { network_.send(device_, apdu, true); }
  void broadcast(const io::Address& to, const bacnet::Apdu& apdu) { network_.broadcast(to, 0, apdu); }

  /// The first answer that comes within `patience`, described: `error 2 32`, `reject 9`, `abort 4`, `done`,
  /// `segment-ack`, or the values of a property that was read; `nothing`.
  std::string ask(bacnet::ConfirmedService service, const std::string& data) {
    bacnet::ConfirmedRequest request = template_;
    request.invokeId = ++invokeId_;
    request.service = service;
    request.data = data;
    return ask(request);
  }
  std::string ask(const bacnet::ConfirmedRequest& request) {
    heard.clear();
    send(request);
    const auto isAnswer = [](const HeldApdu& each) { return describe(each.view) != "request"; };
    const auto answer = [&] { return std::find_if(heard.begin(), heard.end(), isAnswer); };
    wait_([&] { return answer() != heard.end(); }, patience);
    return answer() == heard.end() ? "nothing" : describe(answer()->view);
  }

  std::string read(bacnet::ObjectId object, bacnet::PropertyId property,
                   std::optional<bacnet::ArrayIndex> index = std::nullopt) {
    return ask(bacnet::ConfirmedService::kReadProperty, encode(bacnet::ReadPropertyRequest{object, {property, index}}));
  }
  std::string write(bacnet::ObjectId object, bacnet::PropertyReference reference, bacnet::Values values,
                    std::optional<std::uint8_t> priority = std::nullopt) {
    return ask(bacnet::ConfirmedService::kWriteProperty,
               encode(bacnet::WritePropertyRequest{object, reference, std::move(values), priority}));
  }
  std::string subscribe(const bacnet::SubscribeCov& request) {
    return ask(bacnet::ConfirmedService::kSubscribeCov, encode(request));
  }

  /// The notifications among what was heard, confirmed or not.
  std::vector<bacnet::CovNotification> notifications() const {
    std::vector<bacnet::CovNotification> all;
    for (const HeldApdu& each : heard) {
      const auto* unconfirmed = std::get_if<bacnet::UnconfirmedRequest>(&each.view);
      const auto* confirmed = std::get_if<bacnet::ConfirmedRequest>(&each.view);
      const auto found = bacnet::parseCovNotification(unconfirmed ? unconfirmed->data
                                                      : confirmed ? confirmed->data
                                                                  : "");
      if (found) all.push_back(*found);
    }
    return all;
  }

  static std::string describe(const bacnet::Apdu& apdu) {
    if (const auto* ack = std::get_if<bacnet::ComplexAck>(&apdu)) {
      const auto content = bacnet::parseReadPropertyAck(ack->data);
      return content ? bacnet::describe(content->values) : "complex";
    }
    if (const auto* error = std::get_if<bacnet::ErrorPdu>(&apdu)) {
      const auto reply = bacnet::parseError(error->service, error->data);
      if (!reply) return "error?";
      return "error " + std::to_string(reply->error.errorClass) + " " + std::to_string(reply->error.errorCode);
    }
    if (const auto* reject = std::get_if<bacnet::RejectPdu>(&apdu)) return "reject " + std::to_string(reject->reason);
    if (const auto* abort = std::get_if<bacnet::AbortPdu>(&apdu)) return "abort " + std::to_string(abort->reason);
    if (std::holds_alternative<bacnet::SegmentAck>(apdu)) return "segment-ack";
    return std::holds_alternative<bacnet::SimpleAck>(apdu) ? "done" : "request";
  }

  /// What requests say of this station; invoke id, service and data are filled in.
  bacnet::ConfirmedRequest& asking() { return template_; }

  /// Also hears broadcasts.
  void listen(io::CDatagrams& socket) { network_.listen(socket); }

  std::vector<HeldApdu> heard;
  io::Duration patience = std::chrono::milliseconds(100);

 private:
  std::unique_ptr<io::CDatagrams> socket_;
  bacnet::CNetwork network_;
  bacnet::Station device_;
  Wait wait_;
  bacnet::ConfirmedRequest template_;
  std::uint8_t invokeId_ = 0;
};

}  // namespace support
