#include "host/tool/network/device_record.h"

#include <fmt/format.h>

#include "bacnet/number/services.h"

namespace tool {

namespace {

struct Service {
  std::uint32_t bit;
  const char* name;
};
constexpr Service kShown[] = {
    {bacnet::service_bit::kReadPropertyMultiple, "RPM"},
    {bacnet::service_bit::kWritePropertyMultiple, "WPM"},
    {bacnet::service_bit::kSubscribeCov, "COV"},
};

Record servicesOf(const DeviceDetails& details) {
  if (details.services.bits.empty()) return {};
  Record names = Record::array();
  for (const Service& each : kShown) {
    if (details.takes(each.bit)) names.push_back(each.name);
  }
  return names;
}

Record segmentationOf(const bacnet::IAm& iAm) {
  switch (iAm.segmentation) {
    case bacnet::Segmentation::kBoth:
      return "both";
    case bacnet::Segmentation::kTransmit:
      return "transmit";
    case bacnet::Segmentation::kReceive:
      return "receive";
    case bacnet::Segmentation::kNone:
      return "none";
  }
  return {};
}

std::string noteOf(const DeviceDetails& details) {
  if (details.device.isDuplicate) return kDuplicate;
  if (!details.isAsked) return "not asked";
  return details.isAnswering ? "" : "does not answer";
}

}  // namespace

std::string macText(const std::string& mac) {
  std::string text;
  for (const char octet : mac) text += fmt::format("{:02x}", static_cast<unsigned char>(octet));
  return text;
}

Record recordOf(const DeviceDetails& details) {
  const auto& station = details.device.station;
  const auto& iAm = details.device.iAm;
  Record record;
  record["device"] = iAm.device;
  record["address"] = io::addressText(station.address);
  record["network"] = station.remote ? Record(station.remote->network) : Record();
  record["mac"] = station.remote ? Record(macText(station.remote->mac)) : Record();
  record["vendor"] = iAm.vendor;
  record["model"] = details.model;
  record["name"] = details.name;
  record["maxApdu"] = iAm.maxApdu;
  record["segmentation"] = segmentationOf(iAm);
  record["services"] = servicesOf(details);
  record["note"] = noteOf(details);
  return record;
}

}  // namespace tool
