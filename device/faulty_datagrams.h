#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "device/fault_script.h"
#include "io/datagrams.h"
#include "io/timers.h"

namespace device {

/// A socket whose datagrams a fault script bends. The only place that knows of faults: what is behind it is a device in
/// good health.
class CFaultyDatagrams : public io::CDatagrams {
 public:
  /// All outlive it.
  CFaultyDatagrams(io::CDatagrams& socket, io::CTimers& timers, CFaultScript& script);

  void send(const io::Address& to, std::string_view bytes) override;
  void onReceive(ReceiveHandler handler) override;
  void onRefused(RefusedHandler handler) override { socket_.onRefused(std::move(handler)); }
  io::Address local() const override { return socket_.local(); }

 private:
  void receive(const io::Address& from, std::string_view bytes);
  void answerInstead(const io::Address& to, const MessageView& message, const Fault& fault);
  void sendLater(const io::Address& to, std::string_view bytes, std::uint32_t milliseconds);

  io::CDatagrams& socket_;
  io::CTimers& timers_;
  CFaultScript& script_;
  ReceiveHandler handler_;
  std::uint64_t nextDelayed_ = 0;
  std::map<std::uint64_t, io::CTimer> delayed_;
};

}  // namespace device
