#include "host/tool/page/guard.h"

#include <fmt/format.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "host/tool/failure.h"
#include "io/address.h"

namespace tool {

namespace {

constexpr const char* kData = "/api/";
constexpr const char* kBearer = "Bearer ";
constexpr std::uint32_t kLoopbackNet = 127;

bool isPort(std::string_view text) {
  return !text.empty() && text.size() <= 5 && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// The name of NAME or NAME:PORT; empty where it is neither. The port is another one behind a tunnel.
std::string_view nameIn(std::string_view host) {
  const std::size_t end = host.rfind(':');
  if (end == std::string_view::npos) return host;
  return isPort(host.substr(end + 1)) ? host.substr(0, end) : std::string_view();
}

bool isOwnName(std::string_view host, const Rules& rules) {
  const std::string_view name = nameIn(host);
  if (name == rules.ip) return true;
  return isLoopback(rules.ip) && (name == "localhost" || isLoopback(std::string(name)));
}

std::optional<std::string> only(const httplib::Request& request, const char* header) {
  if (request.get_header_value_count(header) != 1) return std::nullopt;
  return request.get_header_value(header);
}

// Somebody between the browser and this server might take another of the two for the end of the request.
bool hasOneLength(const httplib::Request& request) {
  return request.get_header_value_count("Content-Length") + request.get_header_value_count("Transfer-Encoding") <= 1;
}

// Takes as long wherever the first difference is.
bool isEqual(std::string_view a, std::string_view b) {
  unsigned difference = a.size() == b.size() ? 0 : 1;
  for (std::size_t at = 0; at < a.size(); ++at)
    difference |= static_cast<unsigned char>(a[at]) ^ static_cast<unsigned char>(b[at % b.size()]);
  return difference == 0;
}

bool showsToken(const httplib::Request& request, const std::string& token) {
  const std::string shown = only(request, "Authorization").value_or("");
  return shown.rfind(kBearer, 0) == 0 && isEqual(shown.substr(std::string_view(kBearer).size()), token);
}

bool isFromOwnPage(const httplib::Request& request, const std::string& host) {
  if (request.has_header("Origin") && only(request, "Origin") != "http://" + host) return false;
  const std::string site = request.get_header_value("Sec-Fetch-Site");
  return site.empty() || site == "same-origin" || site == "none";
}

bool isJson(const httplib::Request& request) {
  const std::string type = only(request, "Content-Type").value_or("");
  return type.substr(0, type.find(';')) == "application/json";
}

bool changesPoints(const std::string& path) {
  return path.rfind("/api/points/", 0) == 0;
}

std::optional<Refusal> refusalOfPost(const httplib::Request& request, const Rules& rules) {
  if (!request.has_header("Origin")) return Refusal{403, "the request does not say which page it comes from (Origin)"};
  if (!isJson(request)) return Refusal{415, "the request is no application/json"};
  if (only(request, "X-Requested-With") != "hmi-host") return Refusal{403, "the header X-Requested-With is missing"};
  if (changesPoints(request.path) && !rules.takesWrites) return Refusal{403, "this server changes no points"};
  return std::nullopt;
}

}  // namespace

bool isLoopback(const std::string& ip) {
  const auto number = io::parseIp(ip);
  return number && *number >> 24U == kLoopbackNet;
}

std::optional<Refusal> refusalOf(const httplib::Request& request, const Rules& rules) {
  if (!hasOneLength(request)) return Refusal{400, "the request has two lengths"};
  const auto host = only(request, "Host");
  if (!host || !isOwnName(*host, rules)) return Refusal{403, "this server has another name"};
  if (request.method != "GET" && request.method != "HEAD" && request.method != "POST")
    return Refusal{405, "only GET, HEAD and POST are answered"};
  if (request.path.rfind(kData, 0) != 0)
    return request.method == "POST" ? std::optional(Refusal{405, "there is nothing to send here"}) : std::nullopt;
  if (!isFromOwnPage(request, *host)) return Refusal{403, "the request comes from another page"};
  if (!rules.token.empty() && !showsToken(request, rules.token))
    return Refusal{401, "the token is missing or wrong: hmi-host printed the address with it"};
  if (request.method == "POST") return refusalOfPost(request, rules);
  return std::nullopt;
}

std::string randomToken() {
  std::array<unsigned char, 16> octets{};
  if (getrandom(octets.data(), octets.size(), 0) != static_cast<ssize_t>(octets.size()))
    throw CFailure(ExitStatus::kInternal, "the system gives no random numbers", "try again");
  std::string text;
  for (const unsigned octet : octets) text += fmt::format("{:02x}", octet);
  return text;
}

}  // namespace tool
