#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "bacnet/network/network.h"
#include "bacnet/server/cov_server.h"
#include "bacnet/server/device.h"
#include "bacnet/service/failure.h"
#include "bacnet/service/property.h"

namespace bacnet::server {

/// What a device says to a confirmed request.
struct Done {};
struct Result {
  std::string data;  ///< of the service's acknowledgement
};
struct Refused {
  ErrorReply reply;
};
struct Rejected {
  std::uint8_t reason;
};
using Answer = std::variant<Done, Result, Refused, Rejected>;

/// The services of a device: a request's own bytes in, what is to be answered out.
class CResponder {
 public:
  /// Both outlive it.
  CResponder(CDevice& device, CCovServer& covServer) : device_(device), covServer_(covServer) {}

  Answer answer(const Station& from, ConfirmedService service, std::string_view data);

 private:
  Answer readProperty(std::string_view data);
  Answer readPropertyMultiple(std::string_view data);
  Answer writeProperty(const Station& from, std::string_view data);
  Answer writePropertyMultiple(const Station& from, std::string_view data);
  Answer subscribeCov(const Station& from, std::string_view data);

  CDevice& device_;
  CCovServer& covServer_;
};

}  // namespace bacnet::server
