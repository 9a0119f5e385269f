#include "host/tool/page/http_server.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <string_view>
#include <utility>

#include "host/tool/console/error_relay.h"
#include "host/tool/console/quiet_thread.h"
#include "host/tool/failure.h"
#include "host/tool/page/bounded_stream.h"
#include "host/tool/page/encoding.h"
#include "host/tool/page/work_queue.h"
#include "io/address.h"

namespace tool {

namespace {

constexpr int kBacklog = 128;
constexpr std::size_t kLargestBody = std::size_t{16} << 10U;
constexpr std::string_view kBusy =
    "HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\nRetry-After: 1\r\nConnection: close\r\n\r\n";

// What the page may load and do; all of it is served from here.
constexpr const char* kContentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'";

httplib::Headers headersOfAll() {
  return {{"Content-Security-Policy", kContentPolicy},
          {"X-Content-Type-Options", "nosniff"},
          {"X-Frame-Options", "DENY"},
          {"Referrer-Policy", "no-referrer"},
          {"Cross-Origin-Opener-Policy", "same-origin"},
          {"Cross-Origin-Resource-Policy", "same-origin"},
          {"Cache-Control", "no-store"}};
}

std::string wordsOf(int status) {
  switch (status) {
    case 400:
      return "the request cannot be understood";
    case 404:
      return "there is nothing of this name";
    case 413:
    case 414:
      return "the request is too long";
    default:
      return fmt::format("status {}", status);
  }
}

void finish(int socket) {
  shutdown(socket, SHUT_WR);
  close(socket);
}

}  // namespace

void setError(httplib::Response& response, int status, const std::string& error) {
  response.status = status;
  response.set_content(jsonText({{"error", error}}), "application/json");
}

CHttpServer::CHttpServer(Rules rules) : rules_(std::move(rules)), end_(eventfd(0, EFD_CLOEXEC)) {
  if (end_ < 0) throw CFailure(ExitStatus::kInternal, "no descriptor is free", "raise the limit (ulimit -n)");
  new_task_queue = [] { return new CWorkQueue(kConnections); };
  set_payload_max_length(kLargestBody);
  set_default_headers(headersOfAll());
  setAnswers();
}

void CHttpServer::setAnswers() {
  set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
    const auto refusal = refusalOf(request, rules_);
    if (!refusal) return HandlerResponse::Unhandled;
    setError(response, refusal->status, refusal->error);
    return HandlerResponse::Handled;
  });
  set_error_handler(Handler([](const httplib::Request&, httplib::Response& response) {
    if (response.body.empty()) setError(response, response.status, wordsOf(response.status));
  }));
  set_exception_handler([](const httplib::Request& request, httplib::Response& response, std::exception_ptr thrown) {
    try {
      std::rethrow_exception(std::move(thrown));
    } catch (const CFailure& failure) {
      setError(response, failure.status() == ExitStatus::kUsage ? 400 : 409, failure.what());
    } catch (const std::exception& error) {
      complain(fmt::format("internal error at {}: {}; please report it", request.path, error.what()));
      setError(response, 500, "internal error; hmi-host tells more");
    }
  });
}

CHttpServer::~CHttpServer() {
  eventfd_write(end_, 1);
  if (thread_.joinable()) {
    stop();
    thread_.join();
  }
  close(end_);
}

std::uint16_t CHttpServer::listen(std::uint16_t port) {
  const auto ip = io::parseIp(rules_.ip);
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_port = htons(port);
  name.sin_addr.s_addr = htonl(ip.value_or(0));
  socklen_t size = sizeof(name);
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  if (!ip || bind(socket, reinterpret_cast<sockaddr*>(&name), size) != 0 || ::listen(socket, kBacklog) != 0 ||
      getsockname(socket, reinterpret_cast<sockaddr*>(&name), &size) != 0) {
    const std::string why = std::strerror(errno);
    if (socket >= 0) close(socket);
    throw CFailure(ExitStatus::kUsage, fmt::format("cannot listen on {}:{}: {}", rules_.ip, port, why),
                   "name another address or port with --listen; 'ss -ltnp' tells who has this one");
  }
  svr_sock_ = socket;
  thread_ = startWithoutSignals([this] { listen_after_bind(); });
  while (!is_running()) std::this_thread::yield();  // `stop` does nothing before that
  return ntohs(name.sin_port);
}

// The library's own way to serve a connection has no bound on how long a request may take to come in.
bool CHttpServer::process_and_close_socket(socket_t socket) {
  fcntl(socket, F_SETFD, FD_CLOEXEC);
  if (CWorkQueue::isFull()) {
    send(socket, kBusy.data(), kBusy.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    finish(socket);
    return false;
  }
  const int yes = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
  CBoundedStream stream(socket, end_);
  bool isClosed = false;
  const bool isServed = process_request(stream, true, isClosed, [](httplib::Request& request) {
    request.headers.erase("Accept-Encoding");  // packing costs more than sending
    request.ranges.clear();
  });
  finish(socket);
  return isServed;
}

}  // namespace tool
