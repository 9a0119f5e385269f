#pragma once

#include <string_view>
#include <utility>

#include "io/datagrams.h"

namespace device {

/// A socket whose datagrams are told, a line each on standard error, as they come and go.
class CTracedDatagrams : public io::CDatagrams {
 public:
  /// `socket` outlives it. With `isOn` false it only passes on.
  CTracedDatagrams(io::CDatagrams& socket, bool isOn) : socket_(socket), isOn_(isOn) {}

  void send(const io::Address& to, std::string_view bytes) override;
  void onReceive(ReceiveHandler handler) override;
  void onRefused(RefusedHandler handler) override { socket_.onRefused(std::move(handler)); }
  io::Address local() const override { return socket_.local(); }

 private:
  void tell(const char* direction, const io::Address& peer, std::string_view bytes) const;

  io::CDatagrams& socket_;
  bool isOn_;
};

}  // namespace device
