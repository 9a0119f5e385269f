#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cbl/net/descriptor.h"
#include "driver/bacnet_link.h"
#include "fuzz/check.h"
#include "support/frame_encoder.h"
#include "support/temp_dir.h"

namespace {

using Words = std::vector<short>;

constexpr std::size_t kMostPoints = 15;
constexpr std::uint8_t kRaw = 0x80;  // of the input's first byte: the rest is the stream itself, not a frame's body

/// The far end of the bus in the same thread: a reply waits in the socket before its request is sent, so that no read
/// ever waits.
class WaitingPeer {
 public:
  WaitingPeer() : path_(dir_.file("bus.sock")), listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    FUZZ_CHECK(path_.size() < sizeof(address.sun_path));
    std::memcpy(address.sun_path, path_.c_str(), path_.size() + 1);
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    FUZZ_CHECK(bind(listener_.number(), name, sizeof(address)) == 0 && listen(listener_.number(), 8) == 0);
  }

  void serve(driver::CBACnetLink& link, const std::string& reply) {
    link.client.setSocketPath(path_);
    FUZZ_CHECK(link.client.connect(1000) == 0);
    connection_.reset(accept4(listener_.number(), nullptr, nullptr, SOCK_CLOEXEC));
    const ssize_t sent = send(connection_.number(), reply.data(), reply.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    FUZZ_CHECK(sent == static_cast<ssize_t>(reply.size()) && shutdown(connection_.number(), SHUT_WR) == 0);
  }

 private:
  const support::TempDir dir_;
  const std::string path_;
  const cbl::CDescriptor listener_;
  cbl::CDescriptor connection_;
};

// The second opinion on a value text.
Words wordsOf(const std::string& text) {
  Words words;
  std::string piece;
  for (const char c : text + ",") {
    if (c != ',') {
      piece += c;
      continue;
    }
    if (!piece.empty()) words.push_back(static_cast<short>(static_cast<unsigned>(std::stol(piece))));
    piece.clear();
  }
  return words;
}

void checkWords(const std::string& body, std::int32_t result, const std::vector<Words>& points) {
  cbl::CVelixMessage reply;
  const bool hasCode = reply.load(body) > 0 && reply.size() >= 2;
  FUZZ_CHECK(result == (hasCode ? std::stoi(reply[1]) : -1));
  for (std::size_t i = 0; i < points.size(); ++i) {
    const bool hasValue = result == 0 && reply.size() > 2 + i;
    FUZZ_CHECK(points[i] == (hasValue ? wordsOf(reply[2 + i]) : Words{}));
  }
}

}  // namespace

// A read answers what its reply says, once per point, or fails; no reply makes it wait, or write anywhere else.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0 || size > 8000) return 0;  // a longer reply takes more than the three reads
  static WaitingPeer peer;
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const bool raw = (data[0] & kRaw) != 0;
  const std::size_t count = data[0] & kMostPoints;

  driver::CBACnetLink link;
  peer.serve(link, raw ? bytes : support::encodeFrame(bytes, {}));
  std::vector<Words> points(std::max<std::size_t>(count, 1));
  std::vector<Words*> values;
  values.reserve(points.size());
  for (Words& words : points) values.push_back(&words);
  try {
    const std::int32_t result = count == 0 ? link.readPoint({}, points.front())
                                           : link.readPoints(std::vector<driver::PointAccess>(count), values);
    if (!raw) checkWords(bytes, result, points);
  } catch (const std::logic_error&) {  // a text that is no number, or none that fits
  }
  return 0;
}
