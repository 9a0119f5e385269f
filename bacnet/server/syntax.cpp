#include "bacnet/server/syntax.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <vector>

#include "bacnet/codec/value.h"
#include "bacnet/number/failures.h"

namespace bacnet::server {

namespace {

/// Context tags of a service that has a fixed list of parameters.
struct Parameters {
  std::vector<std::uint8_t> required;
  std::uint8_t last;
};

std::optional<Parameters> parametersOf(ConfirmedService service) {
  switch (service) {
    case ConfirmedService::kReadProperty:
      return Parameters{{0, 1}, 2};
    case ConfirmedService::kWriteProperty:
      return Parameters{{0, 1, 3}, 4};
    case ConfirmedService::kSubscribeCov:
      return Parameters{{0, 1}, 3};
    default:
      return std::nullopt;
  }
}

std::optional<std::uint8_t> contextTag(const Value& value) {
  if (const auto* primitive = std::get_if<ContextPrimitive>(&value)) return primitive->tag;
  if (const auto* constructed = std::get_if<Constructed>(&value)) return constructed->tag;
  return std::nullopt;
}

std::uint8_t reasonOf(const Parameters& parameters, const std::vector<std::uint8_t>& tags) {
  const auto isThere = [&](std::uint8_t tag) { return std::find(tags.begin(), tags.end(), tag) != tags.end(); };
  const bool rises = std::adjacent_find(tags.begin(), tags.end(), std::greater_equal<>()) == tags.end();
  if (!rises) return reject_reason::kInvalidTag;
  if (!std::all_of(parameters.required.begin(), parameters.required.end(), isThere)) {
    return reject_reason::kMissingRequiredParameter;
  }
  if (tags.back() > parameters.last) return reject_reason::kTooManyArguments;
  return reject_reason::kInvalidParameterDataType;  // all are there
}

}  // namespace

std::uint8_t rejectReason(ConfirmedService service, std::string_view data) {
  if (data.empty()) return reject_reason::kMissingRequiredParameter;
  const auto values = parseValues(data);
  if (!values) return reject_reason::kInvalidTag;
  std::vector<std::uint8_t> tags;
  for (const Value& value : *values) {
    const auto tag = contextTag(value);
    if (!tag) return reject_reason::kInvalidTag;
    tags.push_back(*tag);
  }
  if (const auto parameters = parametersOf(service)) return reasonOf(*parameters, tags);
  // The services for several objects: an object and what is wanted of it, again and again.
  const bool lacksLast = tags.size() % 2 == 1;
  return lacksLast ? reject_reason::kMissingRequiredParameter : reject_reason::kInvalidTag;
}

}  // namespace bacnet::server
