#include "bench/exchange.h"

#include "cbl/bus/bus_protocol.h"
#include "cbl/bus/velix_message.h"

namespace bench {

namespace {

constexpr const char* kRead = "func@bac_read";
constexpr const char* kMultiRead = "func@bac_multi_read";

std::string frameOf(const cbl::CVelixMessage& message) {
  std::string frame;
  cbl::CBusProtocol().pack(message, frame, 1);
  return frame;
}

}  // namespace

std::string readRequestFrame(int count) {
  cbl::CVelixMessage message;
  message.emplace_back(count == 1 ? kRead : kMultiRead);
  if (count > 1) message.push_back(std::to_string(count));
  for (int regId = 1; regId <= count; ++regId) {
    message.push_back(std::to_string(regId));
    message.emplace_back("4");
  }
  return frameOf(message);
}

std::string readReplyFrame(int count) {
  cbl::CVelixMessage message;
  message.emplace_back(count == 1 ? kRead : kMultiRead);
  message.emplace_back("0");
  for (int i = 0; i < count; ++i) message.emplace_back(kRealWords);
  return frameOf(message);
}

std::string doneReplyFrame() {
  cbl::CVelixMessage message;
  message.emplace_back("");
  message.emplace_back("0");
  return frameOf(message);
}

}  // namespace bench
