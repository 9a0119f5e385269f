#pragma once

#include <string_view>

#include "bacnet/codec/apdu.h"
#include "bacnet/codec/text.h"
#include "bacnet/service/cov.h"
#include "bacnet/service/discovery.h"
#include "bacnet/service/property.h"

// Which of the product's parsers reads what a PDU carries; services that have none are values.
namespace support {

/// What `use` makes of what was read, an optional of the service's own type.
template <class Use>
auto withRequest(bacnet::ConfirmedService service, std::string_view data, Use use) {
  using bacnet::ConfirmedService;
  switch (service) {
    case ConfirmedService::kConfirmedCovNotification:
      return use(bacnet::parseCovNotification(data));
    case ConfirmedService::kSubscribeCov:
      return use(bacnet::parseSubscribeCov(data));
    case ConfirmedService::kReadProperty:
      return use(bacnet::parseReadProperty(data));
    case ConfirmedService::kReadPropertyMultiple:
      return use(bacnet::parseReadPropertyMultiple(data));
    case ConfirmedService::kWriteProperty:
      return use(bacnet::parseWriteProperty(data));
    case ConfirmedService::kWritePropertyMultiple:
      return use(bacnet::parseWritePropertyMultiple(data));
    default:
      return use(bacnet::parseValues(data));
  }
}

template <class Use>
auto withAnswer(bacnet::ConfirmedService service, std::string_view data, Use use) {
  using bacnet::ConfirmedService;
  if (service == ConfirmedService::kReadProperty) return use(bacnet::parseReadPropertyAck(data));
  if (service == ConfirmedService::kReadPropertyMultiple) return use(bacnet::parseReadPropertyMultipleAck(data));
  return use(bacnet::parseValues(data));
}

template <class Use>
auto withUnconfirmed(bacnet::UnconfirmedService service, std::string_view data, Use use) {
  using bacnet::UnconfirmedService;
  if (service == UnconfirmedService::kIAm) return use(bacnet::parseIAm(data));
  if (service == UnconfirmedService::kWhoIs) return use(bacnet::parseWhoIs(data));
  if (service == UnconfirmedService::kUnconfirmedCovNotification) return use(bacnet::parseCovNotification(data));
  return use(bacnet::parseValues(data));
}

}  // namespace support
