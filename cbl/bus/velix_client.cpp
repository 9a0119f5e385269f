#include "cbl/bus/velix_client.h"

namespace velix {

namespace {

constexpr const char* kDefaultSocketPath = "/tmp/VelixBacnet.sock";
constexpr std::int32_t kReconnectTimeoutMs = 1000;

}  // namespace

CVelixClient::CVelixClient() : socketPath_(kDefaultSocketPath) {}

CVelixClient::~CVelixClient() {
  close();
}

void CVelixClient::setSocketPath(const std::string& path) {
  const std::lock_guard lock(mutex_);
  if (path.empty()) return;
  socketPath_ = path;
  connected_ = false;
}

std::int32_t CVelixClient::connect(std::int32_t timeoutMs) {
  commuClient_.setPath(socketPath_);
  connected_ = commuClient_.connect(timeoutMs) == 0;
  return connected_ ? 0 : -1;
}

void CVelixClient::close() {
  commuClient_.close();
  connected_ = false;
}

bool CVelixClient::call(const cbl::CVelixMessage& request, cbl::CVelixMessage& reply) {
  const std::lock_guard lock(mutex_);
  if (!connected_) {
    close();
    if (connect(kReconnectTimeoutMs) != 0) return false;
  }

  connected_ = false;  // until the reply is there: so it stays when something throws, and the next call starts anew

  // Past 0x7FFFFFFF the identifier turns negative, and the protocol's own counter takes over.
  const auto identifier = static_cast<std::int32_t>(nextIdentifier_++);
  std::int32_t replyIdentifier = 0;
  std::int64_t replyTimestamp = 0;
  const bool answered =
      commuClient_.send(request, identifier) == 0 && commuClient_.recv(reply, replyIdentifier, replyTimestamp) == 0;
  connected_ = answered;
  return answered;
}

}  // namespace velix
