#include "bacnet/service/discovery.h"

#include "bacnet/codec/reader.h"
#include "bacnet/codec/writer.h"
#include "bacnet/number/object_types.h"

namespace bacnet {

std::string encode(const WhoIs& request) {
  CWriter out;
  if (request.range) {
    out.contextUnsigned(0, request.range->first);
    out.contextUnsigned(1, request.range->second);
  }
  return out.take();
}

std::string encode(const IAm& answer) {
  CWriter out;
  out.value(ObjectId{object_type::kDevice, answer.device});
  out.value(std::uint64_t{answer.maxApdu});
  out.value(Enumerated{static_cast<std::uint32_t>(answer.segmentation)});
  out.value(std::uint64_t{answer.vendor});
  return out.take();
}

std::optional<WhoIs> parseWhoIs(std::string_view data) {
  CReader in(data);
  WhoIs request;
  if (!in.atEnd()) {
    const std::uint32_t low = in.contextUnsigned(0);
    request.range = {low, in.contextUnsigned(1)};
  }
  if (!in.finished()) return std::nullopt;
  return request;
}

std::optional<IAm> parseIAm(std::string_view data) {
  CReader in(data);
  const auto device = in.take<ObjectId>();
  const auto maxApdu = in.take<std::uint64_t>();
  const auto segmentation = in.take<Enumerated>();
  const auto vendor = in.take<std::uint64_t>();
  if (!in.finished() || device.type != object_type::kDevice) return std::nullopt;
  if (maxApdu > UINT32_MAX || vendor > UINT32_MAX) return std::nullopt;
  const auto none = static_cast<std::uint32_t>(Segmentation::kNone);
  return IAm{device.instance, static_cast<std::uint32_t>(maxApdu),
             segmentation.number > none ? Segmentation::kNone : static_cast<Segmentation>(segmentation.number),
             static_cast<std::uint32_t>(vendor)};
}

}  // namespace bacnet
