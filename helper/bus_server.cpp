#include "helper/bus_server.h"

#include <signal.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>

#include "cbl/process/retry_interrupted.h"

namespace helper {

namespace {

constexpr std::size_t kMostClients = 256;
constexpr int kMostEvents = 64;
constexpr std::uint32_t kReadable = EPOLLIN;

}  // namespace

CBusServer::CBusServer(int listener, int signals, CFrameHandler& handler, CHelperLog& log)
    : listener_(listener), signals_(signals), handler_(handler), log_(log), epoll_(::epoll_create1(EPOLL_CLOEXEC)) {}

int CBusServer::run() {
  if (!watch(signals_, EPOLL_CTL_ADD, kReadable) || !watch(listener_, EPOLL_CTL_ADD, kReadable)) return 1;
  listens_ = true;

  while (!exitStatus_) {
    std::array<epoll_event, kMostEvents> events;
    const int count =
        cbl::retryInterrupted([&] { return ::epoll_wait(epoll_.number(), events.data(), kMostEvents, timeout()); });
    if (count < 0) {
      log_.write("epoll_wait failed: {}", std::strerror(errno));
      return 1;
    }
    for (int i = 0; i < count; ++i) {
      const epoll_event& event = events[static_cast<std::size_t>(i)];
      if (event.data.fd == signals_) return readSignal();
      if (event.data.fd == listener_) {
        acceptClients();
      } else {
        takeIn(clients_.at(event.data.fd).connection, event.events);
      }
    }
    serveClients();
  }
  return *exitStatus_;
}

bool CBusServer::watch(int descriptor, int operation, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.fd = descriptor;
  if (::epoll_ctl(epoll_.number(), operation, descriptor, &event) == 0) return true;
  log_.write("epoll_ctl failed: {}", std::strerror(errno));
  return false;
}

void CBusServer::watchListener(bool on) {
  if (on != listens_ && watch(listener_, EPOLL_CTL_MOD, on ? kReadable : 0)) listens_ = on;
}

// Milliseconds until the first client is due, -1 when none is.
int CBusServer::timeout() const {
  std::optional<Clock::time_point> first;
  for (const auto& [descriptor, client] : clients_) {
    const auto due = client.connection.due();
    if (due && (!first || *due < *first)) first = due;
  }
  if (!first) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*first - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, std::numeric_limits<int>::max()));
}

void CBusServer::acceptClients() {
  while (clients_.size() < kMostClients) {
    const int socket =
        cbl::retryInterrupted([&] { return ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK); });
    if (socket < 0) {
      if (errno == EAGAIN || errno == ECONNABORTED) return;
      log_.write("accept failed: {}", std::strerror(errno));
      break;
    }
    const auto client = clients_.try_emplace(socket, socket).first;
    client->second.watched = kReadable;
    if (!watch(socket, EPOLL_CTL_ADD, kReadable)) clients_.erase(client);
  }
  // As many clients as there is room for: the next one waits until another leaves.
  watchListener(clients_.empty());
}

void CBusServer::takeIn(CBusConnection& connection, std::uint32_t events) {
  if ((events & kReadable) != 0) {
    connection.receive();
  } else if ((events & (EPOLLHUP | EPOLLERR)) != 0) {
    connection.breakOff();
  }
}

void CBusServer::serveClients() {
  for (auto each = clients_.begin(); each != clients_.end();) {
    CBusConnection& connection = each->second.connection;
    const bool stays = serve(connection);
    if (exitStatus_) return;
    if (!stays || connection.isOver()) {
      each = clients_.erase(each);
      watchListener(true);
      continue;
    }
    const std::uint32_t interest = connection.interest();
    if (interest != each->second.watched && watch(each->first, EPOLL_CTL_MOD, interest)) {
      each->second.watched = interest;
    }
    ++each;
  }
}

// Sends what is due and answers the frames that have come in. Result: false when the client is to be closed.
bool CBusServer::serve(CBusConnection& connection) {
  for (;;) {
    const Aftermath aftermath = connection.send(Clock::now());
    if (aftermath.kind != Aftermath::kServe) return finish(aftermath);
    if (!connection.hasRoom()) return true;

    std::string_view bytes;
    switch (connection.nextFrame(bytes)) {
      case CFrameCutter::Cut::kMore:
        return true;
      case CFrameCutter::Cut::kRefused:
        log_.write("client closed: what it sent is no frame of this version and size");
        return false;
      case CFrameCutter::Cut::kFrame:
        if (!answer(connection, bytes)) return false;
    }
  }
}

bool CBusServer::answer(CBusConnection& connection, std::string_view bytes) try {
  cbl::BusFrameInfo frame;
  const std::int32_t result = protocol_.unpack(bytes.data(), static_cast<std::int32_t>(bytes.size()), frame);
  if (result < 0) {
    log_.write("client closed: its frame cannot be unpacked ({})", result);
    return false;
  }
  connection.enqueue(handler_.onFrame(frame), Clock::now());
  return true;
} catch (const std::bad_alloc&) {
  log_.write("client closed: no memory for its request");
  return false;
}

// Result: false when the client is to be closed.
bool CBusServer::finish(const Aftermath& aftermath) {
  switch (aftermath.kind) {
    case Aftermath::kServe:
    case Aftermath::kCloseClient:
      break;
    case Aftermath::kHang:
      // From here on a connect is refused, while the process, its files and its clients' connections stay.
      ::shutdown(listener_, SHUT_RD);
      log_.write("hanging");
      exitStatus_ = readSignal();
      break;
    case Aftermath::kExit:
      exitStatus_ = aftermath.exitStatus;
      break;
    case Aftermath::kKill:
      ::raise(SIGKILL);
  }
  return false;
}

// Waits for a signal if none is there. Result: the exit status.
int CBusServer::readSignal() {
  ::signalfd_siginfo signal{};
  if (cbl::retryInterrupted([&] { return ::read(signals_, &signal, sizeof(signal)); }) < 0) {
    log_.write("signalfd failed: {}", std::strerror(errno));
    return 1;
  }
  log_.write("stopped by signal {}", signal.ssi_signo);
  return 0;
}

}  // namespace helper
