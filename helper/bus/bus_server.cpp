#include "helper/bus/bus_server.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "cbl/process/retry_interrupted.h"

namespace helper {

namespace {

constexpr std::size_t kMostClients = 256;
constexpr std::size_t kMostKeptBody = 65536;
constexpr std::chrono::milliseconds kAcceptPause{200};

}  // namespace

CBusServer::CBusServer(io::CEventLoop& loop, int listener, CFrameHandler& handler, CHelperLog& log)
    : loop_(loop), listener_(listener), handler_(handler), log_(log) {}

CBusServer::~CBusServer() {
  while (!clients_.empty()) remove(clients_.begin());
  loop_.unwatch(listener_);
}

bool CBusServer::start() {
  listens_ = loop_.watch(listener_, EPOLLIN, [this](std::uint32_t) { acceptClients(); });
  return listens_;
}

void CBusServer::acceptClients() {
  while (clients_.size() < kMostClients) {
    const int socket =
        cbl::retryInterrupted([&] { return ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); });
    if (socket >= 0) {
      isShort_ = false;
      addClient(socket);
      continue;
    }
    if (errno == EAGAIN || errno == ECONNABORTED) return;
    // No descriptors, most likely. The client that waits would wake the loop at once again.
    if (!isShort_) log_.write("accept failed: {}; tried again while that lasts", std::strerror(errno));
    isShort_ = true;
    retry_ = loop_.after(kAcceptPause, [this] { listenAgain(); });
    break;
  }
  pauseListening();
}

void CBusServer::addClient(int socket) {
  auto connection = std::make_shared<CBusConnection>(socket, [this, socket] { onAnswer(socket); });
  if (!loop_.watch(socket, EPOLLIN, [this, socket](std::uint32_t events) { onEvents(socket, events); })) {
    log_.write("epoll_ctl failed: {}", std::strerror(errno));
    return;
  }
  clients_.emplace(socket, Client{std::move(connection), EPOLLIN, {}});
}

void CBusServer::pauseListening() {
  if (listens_ && loop_.change(listener_, 0)) listens_ = false;
}

void CBusServer::listenAgain() {
  if (!listens_ && loop_.change(listener_, EPOLLIN)) listens_ = true;
}

void CBusServer::onEvents(int socket, std::uint32_t events) {
  const auto client = clients_.find(socket);
  if ((events & EPOLLIN) != 0) {
    client->second.connection->receive();
  } else if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
    client->second.connection->breakOff();
  }
  serve(client);
}

// An answer given while its frame is being handled is sent right after that; another one when the loop gets to it, for
// whoever gives it need not expect the client's next request in the midst of it.
void CBusServer::onAnswer(int socket) {
  if (socket == served_) return;
  if (answered_.empty()) answer_ = loop_.at(loop_.now(), [this] { serveAnswered(); });
  answered_.push_back(socket);
}

void CBusServer::serveAnswered() {
  for (std::size_t i = 0; i < answered_.size(); ++i) {  // serving one may answer another
    if (const auto client = clients_.find(answered_[i]); client != clients_.end()) serve(client);
  }
  answered_.clear();
}

void CBusServer::serve(Clients::iterator client) {
  const auto& connection = client->second.connection;
  if (exchange(connection) && !connection->isOver()) {
    waitOn(client->second);
  } else {
    remove(client);
  }
}

// Sends what is due and hands on the frames that have come in. Result: false when the client is to be closed.
bool CBusServer::exchange(const std::shared_ptr<CBusConnection>& connection) {
  for (;;) {
    if (!connection->send(loop_)) return false;
    if (!connection->hasRoom()) return true;

    std::string_view bytes;
    switch (connection->nextFrame(bytes)) {
      case CFrameCutter::Cut::kMore:
        return true;
      case CFrameCutter::Cut::kRefused:
        log_.write("client closed: what it sent is no frame of this version and size");
        return false;
      case CFrameCutter::Cut::kFrame:
        if (!handle(connection, bytes)) return false;
    }
  }
}

bool CBusServer::handle(const std::shared_ptr<CBusConnection>& connection, std::string_view bytes) try {
  const std::int32_t result = protocol_.unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), frame_);
  if (result < 0) {
    log_.write("client closed: its frame cannot be unpacked ({})", result);
    return false;
  }
  served_ = connection->socket();
  handler_.onFrame(frame_, CReplySlot(connection, connection->expectReply(), frame_));
  served_ = -1;
  if (frame_.body.capacity() > kMostKeptBody) frame_.body = std::string();
  return true;
} catch (const std::bad_alloc&) {
  served_ = -1;
  log_.write("client closed: no memory for its request");
  return false;
}

void CBusServer::waitOn(Client& client) {
  const CBusConnection& connection = *client.connection;
  const std::uint32_t interest = connection.interest();
  if (interest != client.watched && loop_.change(connection.socket(), interest)) client.watched = interest;
  if (const auto due = connection.due()) {
    client.due = loop_.at(*due, [this, socket = connection.socket()] { serve(clients_.find(socket)); });
  } else {
    client.due.cancel();
  }
}

void CBusServer::remove(Clients::iterator client) {
  loop_.unwatch(client->first);
  client->second.connection->close();
  clients_.erase(client);
  if (!isShort_) listenAgain();
}

}  // namespace helper
