#include "bacnet/service/cov.h"

#include "bacnet/number/object_types.h"
#include "bacnet/service/property_value.h"

namespace bacnet {

std::string encode(const SubscribeCov& request) {
  CWriter out;
  out.contextUnsigned(0, request.process);
  out.contextObject(1, request.object);
  if (request.confirmed) out.contextBoolean(2, *request.confirmed);
  if (request.lifetime) out.contextUnsigned(3, *request.lifetime);
  return out.take();
}

std::string encode(const CovNotification& notification) {
  CWriter out;
  out.contextUnsigned(0, notification.process);
  out.contextObject(1, {object_type::kDevice, notification.device});
  out.contextObject(2, notification.object);
  out.contextUnsigned(3, notification.timeRemaining);
  out.open(4);
  for (const CovValue& value : notification.values) writePropertyValue(out, value);
  out.close(4);
  return out.take();
}

std::optional<SubscribeCov> parseSubscribeCov(std::string_view data) {
  CReader in(data);
  SubscribeCov request;
  request.process = in.contextUnsigned(0);
  request.object = in.contextObject(1);
  if (in.comes(Tag::Kind::kContext, 2)) request.confirmed = in.contextBoolean(2);
  if (in.comes(Tag::Kind::kContext, 3)) request.lifetime = in.contextUnsigned(3);
  if (!in.finished()) return std::nullopt;
  return request;
}

std::optional<CovNotification> parseCovNotification(std::string_view data) {
  CReader in(data);
  CovNotification notification;
  notification.process = in.contextUnsigned(0);
  const ObjectId device = in.contextObject(1);
  notification.device = device.instance;
  notification.object = in.contextObject(2);
  notification.timeRemaining = in.contextUnsigned(3);
  in.open(4);
  while (in.hasMoreBefore(4)) notification.values.push_back(readPropertyValue(in));
  if (!in.finished() || device.type != object_type::kDevice) return std::nullopt;
  return notification;
}

}  // namespace bacnet
