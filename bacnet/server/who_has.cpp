#include "bacnet/server/who_has.h"

#include "bacnet/codec/reader.h"
#include "bacnet/codec/writer.h"

namespace bacnet::server {

std::optional<WhoHas> parseWhoHas(std::string_view data) {
  CReader reader(data);
  WhoHas request;
  if (reader.comes(Tag::Kind::kContext, 0)) {
    const std::uint32_t low = reader.contextUnsigned(0, kLargestInstance);
    request.range = {low, reader.contextUnsigned(1, kLargestInstance)};
  }
  if (reader.comes(Tag::Kind::kContext, 2)) {
    request.object = reader.contextObject(2);
  } else {
    const Value name = reader.value();
    const auto* primitive = std::get_if<ContextPrimitive>(&name);
    if (primitive == nullptr || primitive->tag != 3 || primitive->bytes.empty()) return std::nullopt;
    request.name = {static_cast<std::uint8_t>(primitive->bytes.front()), primitive->bytes.substr(1)};
  }
  if (!reader.finished()) return std::nullopt;
  return request;
}

std::string encode(const IHave& answer) {
  CWriter writer;
  writer.values({answer.device, answer.object, answer.name});
  return writer.take();
}

}  // namespace bacnet::server
