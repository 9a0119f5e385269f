#include "cbl/bus/bus_message.h"

namespace cbl {

CBusMessage::~CBusMessage() = default;

std::int32_t CBusMessage::load(const char* /*data*/, std::int32_t /*length*/) {
  return -1;
}

std::int32_t CBusMessage::load(const std::string& /*data*/) {
  return -1;
}

std::int32_t CBusMessage::dump(std::string& /*out*/) const {
  return -1;
}

std::int32_t CBusMessage::setType(std::uint8_t type) {
  type_ = type;
  return 0;
}

std::uint8_t CBusMessage::getType() const {
  return type_;
}

}  // namespace cbl
