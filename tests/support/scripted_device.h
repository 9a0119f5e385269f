#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bacnet/client/late_outcomes.h"
#include "bacnet/codec/apdu.h"
#include "bacnet/codec/npdu.h"
#include "bacnet/segment/segmenter.h"
#include "bacnet/service/cov.h"
#include "bacnet/service/failure.h"
#include "bacnet/service/property.h"
#include "io/fake/fake_network.h"

namespace test {

/// For scripts: the device keeps quiet.
const bacnet::Apdu kNoAnswer = bacnet::SegmentAck{};

/// What a request is answered with; the bytes of it live as long as the answer.
using Answer = std::function<bacnet::Apdu(const bacnet::ConfirmedRequest& request)>;
Answer keepsQuiet();
Answer acknowledges(const std::string& data);  ///< with a ComplexAck
Answer errs(std::uint32_t errorClass, std::uint32_t code);
Answer rejects(std::uint8_t reason);
Answer aborts(std::uint8_t reason, bool fromServer = true);

/// A device on the fake network that does what a test tells it, made of the codec alone.
class CScriptedDevice {
 public:
  using Property = std::variant<bacnet::Values, bacnet::Error>;
  struct Asked {
    int ms;  ///< since the device was made
    bacnet::ConfirmedService service;
    std::uint8_t invokeId;
    std::size_t items;  ///< properties read or written
    std::size_t octets;
  };
  /// Instead of the answer that it would give; nothing: that one.
  using Script = std::function<std::optional<bacnet::Apdu>(const bacnet::ConfirmedRequest& request, std::size_t items)>;

  CScriptedDevice(io::CFakeNetwork& network, io::CFakeClock& clock, io::Address address, std::uint32_t id);

  std::map<bacnet::PropertyAddress, Property> properties;
  std::vector<Asked> asked;
  Script script;
  bool isDead = false;    ///< hears nothing
  bool isMute = false;    ///< answers nothing
  bool announces = true;  ///< answers Who-Is
  bool takesCov = true;
  std::size_t maxApdu = 1476;
  std::size_t segmentOctets = 0;  ///< longer answers go out in segments of so many; 0: whole
  std::uint8_t window = 4;
  std::optional<bacnet::NetworkAddress> behind;  ///< it is there, the socket its router's
  std::map<bacnet::ObjectId, bacnet::SubscribeCov> subscriptions;
  std::size_t whoIs = 0;
  int notifications = 0;
  std::uint32_t timeRemaining = 300;  ///< that its notifications tell
  std::vector<bacnet::Apdu> heard;    ///< what answers to its own requests, views gone

  void set(bacnet::ObjectId object, bacnet::Value value);  ///< present value; notifies who has subscribed
  bacnet::Values get(bacnet::ObjectId object) const;
  void iAm();
  void notify(bacnet::ObjectId object, std::uint32_t process, bool confirmed);
  void moveTo(io::Address address);  ///< as a new device would be: without subscriptions
  void send(const bacnet::Apdu& apdu);
  void sendMessage(bacnet::NetworkMessageType type, const std::string& data);

  std::size_t count(bacnet::ConfirmedService service) const;

 private:
  void receive(const io::Address& from, std::string_view bytes);
  void onWhoIs(std::string_view data);
  void onRequest(const bacnet::ConfirmedRequest& request);
  void answer(const bacnet::ConfirmedRequest& request);
  std::optional<bacnet::Apdu> readProperty(const bacnet::ConfirmedRequest& request);
  std::optional<bacnet::Apdu> readMultiple(const bacnet::ConfirmedRequest& request);
  std::optional<bacnet::Apdu> writeMultiple(const bacnet::ConfirmedRequest& request);
  std::optional<bacnet::Apdu> subscribe(const bacnet::ConfirmedRequest& request);
  bacnet::Apdu ack(const bacnet::ConfirmedRequest& request, std::string data);
  bacnet::Apdu error(const bacnet::ConfirmedRequest& request, const bacnet::ErrorReply& reply);
  void sendNpdu(bacnet::Npdu npdu);
  void sendWindow(int repetitions = 3);
  Property find(const bacnet::PropertyAddress& address) const;

  io::CFakeNetwork& network_;
  io::CFakeClock& clock_;
  io::TimePoint made_;
  std::unique_ptr<io::CDatagrams> socket_;
  bacnet::ObjectId self_;
  io::Address client_{0x0A000001, 47808};  // the panel, and whoever has asked it since
  std::string data_;                       // what the answer under way points into
  std::unique_ptr<bacnet::CSegmenter> outgoing_;
  bacnet::ComplexAck outgoingAck_;
  io::CTimer repetition_;
  std::string incoming_;
  std::uint8_t invokeId_ = 0;
};

/// A script that answers so what `applies`, and anything else as usual.
CScriptedDevice::Script where(std::function<bool(const bacnet::ConfirmedRequest&, std::size_t items)> applies,
                              Answer answer);
CScriptedDevice::Script always(Answer answer);

}  // namespace test
