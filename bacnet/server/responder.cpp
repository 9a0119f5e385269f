#include "bacnet/server/responder.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "bacnet/codec/bvlc.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/properties.h"
#include "bacnet/server/errors.h"
#include "bacnet/server/syntax.h"
#include "bacnet/service/cov.h"

namespace bacnet::server {

namespace {

Refused refused(const Error& error) {
  return {{error, std::nullopt}};
}

bool isSelection(PropertyId id) {
  return id == property::kAll || id == property::kRequired || id == property::kOptional;
}

bool isPriority(std::optional<std::uint8_t> priority) {
  return !priority || (*priority >= 1 && *priority <= kPriorities);
}

bool hasOnlyPriorities(const WritePropertyMultipleRequest& request) {
  const auto isRight = [](const PropertyWrite& write) { return isPriority(write.priority); };
  return std::all_of(request.begin(), request.end(), [&](const WriteAccess& access) {
    return std::all_of(access.writes.begin(), access.writes.end(), isRight);
  });
}

ReadResult resultOf(const PropertyReference& reference, Content content) {
  if (const Error* error = std::get_if<Error>(&content)) return {reference, *error};
  return {reference, std::move(std::get<Values>(content))};
}

std::vector<PropertyReference> spreadOut(const CObject& object, const std::vector<PropertyReference>& references) {
  std::vector<PropertyReference> all;
  for (const PropertyReference& reference : references) {
    if (!isSelection(reference.property)) {
      all.push_back(reference);
      continue;
    }
    const bool required = reference.property != property::kOptional;
    const bool optional = reference.property != property::kRequired;
    for (const PropertyId id : object.propertyIds(required, optional)) all.push_back({id, std::nullopt});
  }
  return all;
}

ValueSource sourceOf(const Station& from) {
  return from.remote.value_or(NetworkAddress{kLocalNetwork, macOf(from.address)});
}

}  // namespace

Answer CResponder::answer(const Station& from, ConfirmedService service, std::string_view data) {
  const Abilities& abilities = device_.abilities();
  switch (service) {
    case ConfirmedService::kReadProperty:
      return readProperty(data);
    case ConfirmedService::kWriteProperty:
      return writeProperty(from, data);
    case ConfirmedService::kReadPropertyMultiple:
      if (abilities.readsMultiple) return readPropertyMultiple(data);
      break;
    case ConfirmedService::kWritePropertyMultiple:
      if (abilities.writesMultiple) return writePropertyMultiple(from, data);
      break;
    case ConfirmedService::kSubscribeCov:
      if (abilities.notifiesChanges) return subscribeCov(from, data);
      break;
    default:
      break;
  }
  return Rejected{reject_reason::kUnrecognizedService};
}

Answer CResponder::readProperty(std::string_view data) {
  const auto request = parseReadProperty(data);
  if (!request) return Rejected{rejectReason(ConfirmedService::kReadProperty, data)};
  const CObject* object = device_.find(request->object);
  if (object == nullptr) return refused(kUnknownObject);
  Content content = object->read(request->reference);
  if (const Error* error = std::get_if<Error>(&content)) return refused(*error);
  return Result{encode(ReadPropertyAck{object->id(), request->reference, std::move(std::get<Values>(content))})};
}

Answer CResponder::readPropertyMultiple(std::string_view data) {
  const auto request = parseReadPropertyMultiple(data);
  if (!request) return Rejected{rejectReason(ConfirmedService::kReadPropertyMultiple, data)};
  ReadPropertyMultipleAck ack;
  for (const ReadAccess& access : *request) {
    if (access.references.empty()) return Rejected{reject_reason::kMissingRequiredParameter};
    const CObject* object = device_.find(access.object);
    ReadAccessResult result{object == nullptr ? access.object : object->id(), {}};
    const auto references = object == nullptr ? access.references : spreadOut(*object, access.references);
    for (const PropertyReference& reference : references) {
      result.results.push_back(resultOf(reference, object == nullptr ? kUnknownObject : object->read(reference)));
    }
    ack.push_back(std::move(result));
  }
  return Result{encode(ack)};
}

Answer CResponder::writeProperty(const Station& from, std::string_view data) {
  const auto request = parseWriteProperty(data);
  if (!request) return Rejected{rejectReason(ConfirmedService::kWriteProperty, data)};
  if (!isPriority(request->priority)) return Rejected{reject_reason::kParameterOutOfRange};
  CObject* object = device_.find(request->object);
  if (object == nullptr) return refused(kUnknownObject);
  const auto error = object->write(request->reference, request->values, request->priority, sourceOf(from));
  if (error) return refused(*error);
  covServer_.valuesChanged();
  return Done{};
}

Answer CResponder::writePropertyMultiple(const Station& from, std::string_view data) {
  const auto request = parseWritePropertyMultiple(data);
  if (!request) return Rejected{rejectReason(ConfirmedService::kWritePropertyMultiple, data)};
  if (!hasOnlyPriorities(*request)) return Rejected{reject_reason::kParameterOutOfRange};
  covServer_.valuesChanged();  // those before the first failure stay written
  for (const WriteAccess& access : *request) {
    CObject* object = device_.find(access.object);
    for (const PropertyWrite& write : access.writes) {
      const auto error = object == nullptr
                             ? std::make_optional(kUnknownObject)
                             : object->write(write.reference, write.values, write.priority, sourceOf(from));
      if (error) return Refused{{*error, FailedWrite{access.object, write.reference}}};
    }
  }
  return Done{};
}

Answer CResponder::subscribeCov(const Station& from, std::string_view data) {
  const auto request = parseSubscribeCov(data);
  if (!request) return Rejected{rejectReason(ConfirmedService::kSubscribeCov, data)};
  if (!request->confirmed && request->lifetime) return Rejected{reject_reason::kMissingRequiredParameter};
  if (const auto error = covServer_.subscribe(from, *request)) return refused(*error);
  return Done{};
}

}  // namespace bacnet::server
