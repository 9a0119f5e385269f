#pragma once

#include <atomic>
#include <string_view>
#include <thread>

#include "io/event_loop.h"
#include "io/udp_datagrams.h"

namespace reliability {

/// A socket with a thread of its own; to be made in the network of the field.
class CTraffic {
 public:
  virtual ~CTraffic();
  CTraffic(const CTraffic&) = delete;
  CTraffic& operator=(const CTraffic&) = delete;

 protected:
  explicit CTraffic(const io::Address& address);
  void begin();  ///< last in a constructor
  void end();    ///< first in a destructor
  /// Called a hundred times a second.
  virtual void turn() {}

  io::CEventLoop loop_;
  io::CUdpDatagrams socket_;

 private:
  void look();

  std::atomic<bool> isOver_{false};
  io::CTimer watch_;
  std::thread thread_;
};

/// A BACnet router to network 5, whose stations are known by their addresses in the field.
class CRouter : public CTraffic {
 public:
  explicit CRouter(const io::Address& address);
  ~CRouter() override { end(); }

  /// One that is gone hears nothing.
  void setGone(bool isGone) { isGone_ = isGone; }

 private:
  void route(const io::Address& from, std::string_view bytes);

  std::atomic<bool> isGone_{false};
};

/// A thousand datagrams a second from a stranger to the panel and to everybody: nonsense, other devices' I-Am, values
/// and answers that nobody asked for.
class CFlood : public CTraffic {
 public:
  CFlood(const io::Address& from, const io::Address& panel, const io::Address& broadcast);
  ~CFlood() override { end(); }

 private:
  void turn() override;

  const io::Address panel_;
  const io::Address broadcast_;
  unsigned sent_ = 0;
};

}  // namespace reliability
