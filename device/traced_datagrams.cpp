#include "device/traced_datagrams.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <utility>

#include "device/message_view.h"
#include "io/clock.h"

namespace device {

void CTracedDatagrams::send(const io::Address& to, std::string_view bytes) {
  tell("to", to, bytes);
  socket_.send(to, bytes);
}

void CTracedDatagrams::onReceive(ReceiveHandler handler) {
  socket_.onReceive([this, handler = std::move(handler)](const io::Address& from, std::string_view bytes) {
    tell("from", from, bytes);
    handler(from, bytes);
  });
}

void CTracedDatagrams::tell(const char* direction, const io::Address& peer, std::string_view bytes) const {
  if (!isOn_) return;
  const double seconds = std::chrono::duration<double>(io::Clock::now().time_since_epoch()).count();
  fmt::print(stderr, "{:.3f} {} {} {}\n", seconds, direction, io::addressText(peer),
             describe(viewOf(bytes), bytes.size()));
}

}  // namespace device
