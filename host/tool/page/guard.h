#pragma once

#include <httplib.h>

#include <optional>
#include <string>

namespace tool {

/// Whom this server answers, and what it lets them do.
struct Rules {
  std::string ip;     ///< that it listens on
  std::string token;  ///< that requests for data have to show; empty where none is asked for
  bool takesWrites = false;
};

/// 127.0.0.0/8.
bool isLoopback(const std::string& ip);

struct Refusal {
  int status = 403;
  std::string error;  ///< for people
};

/// Why a request is not to be carried out, judged by its head alone. A page from elsewhere that a viewer's browser has
/// open can neither read anything nor have anything done, whatever name it has for this machine.
std::optional<Refusal> refusalOf(const httplib::Request& request, const Rules& rules);

/// 128 random bits in hexadecimal. Throws CFailure (internal) when the system has none.
std::string randomToken();

}  // namespace tool
