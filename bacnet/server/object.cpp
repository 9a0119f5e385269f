#include "bacnet/server/object.h"

#include <algorithm>

#include "bacnet/number/properties.h"
#include "bacnet/server/errors.h"

namespace bacnet::server {

namespace {

constexpr std::size_t kLongestText = 1024;  // octets
constexpr std::uint8_t kLargestCharset = 5;
constexpr std::uint8_t kDoubleByteCharset = 1;
constexpr std::uint8_t kJisCharset = 2;

bool isKnownCharset(std::uint8_t charset) {
  return charset <= kLargestCharset && charset != kDoubleByteCharset && charset != kJisCharset;
}

std::optional<Error> refusalOf(const Value& value, const Property& property) {
  if (const auto* text = std::get_if<CharacterString>(&value)) {
    if (!isKnownCharset(text->charset)) return kCharacterSetNotSupported;
    if (text->bytes.size() > kLongestText) return kNoSpaceToWriteProperty;
  }
  const std::optional<double> number = numberOf(value);
  if (!number || !property.range) return std::nullopt;
  const bool isInside = *number >= property.range->first && *number <= property.range->second;  // a NaN is not
  return isInside ? std::nullopt : std::make_optional(kValueOutOfRange);
}

// Whether `values` may become the content, or one element of it.
std::optional<Error> refusalOf(const Values& values, const Property& property) {
  if (!isOf(property.datatype, values)) return kInvalidDataType;
  for (const Value& value : values) {
    if (const auto error = refusalOf(value, property)) return error;
  }
  return std::nullopt;
}

std::optional<Error> refusalOfWhole(const Values& values, const Property& property) {
  if (property.shape == Shape::kSingle) return refusalOf(values, property);
  for (const Value& value : values) {
    if (const auto error = refusalOf(Values{value}, property)) return error;
  }
  const bool keepsItsSize = property.shape == Shape::kList || values.size() == property.values.size();
  return keepsItsSize ? std::nullopt : std::make_optional(kValueOutOfRange);
}

Property fixed(Datatype datatype, Value value) {
  Property property;
  property.datatype = datatype;
  property.values = {std::move(value)};
  property.isRequired = true;
  return property;
}

Values propertyList(const CObject& object) {
  Values list;
  for (const PropertyId id : object.propertyIds(true, true)) {
    const bool isIdentity =
        id == property::kObjectIdentifier || id == property::kObjectName || id == property::kObjectType;
    if (!isIdentity) list.emplace_back(Enumerated{id});
  }
  return list;
}

}  // namespace

CObject::CObject(ObjectId id, const std::string& name) : id_(id) {
  Property identifier = fixed(Datatype::kObjectId, id);
  identifier.computed = [](const CObject& object) { return Values{object.id()}; };
  add(property::kObjectIdentifier, std::move(identifier));
  add(property::kObjectName, fixed(Datatype::kCharacterString, text(name)));
  add(property::kObjectType, fixed(Datatype::kEnumerated, Enumerated{id.type}));

  Property list;
  list.datatype = Datatype::kEnumerated;
  list.shape = Shape::kArray;
  list.isRequired = true;
  list.computed = propertyList;
  add(property::kPropertyList, std::move(list));
}

std::string CObject::name() const {
  return std::get<CharacterString>(find(property::kObjectName)->values.front()).bytes;
}

void CObject::add(PropertyId id, Property property) {
  properties_[id] = std::move(property);
}

void CObject::makeCommandable(bool isRequired) {
  Property& present = properties_.at(property::kPresentValue);
  priorities_.emplace(present.values);
  present.access = Access::kAlways;

  Property array;
  array.shape = Shape::kArray;
  array.isRequired = isRequired;
  array.computed = [this](const CObject&) { return priorities_->elements(); };
  add(property::kPriorityArray, std::move(array));

  Property relinquishDefault = present;
  relinquishDefault.isRequired = isRequired;
  relinquishDefault.computed = [this](const CObject&) { return priorities_->relinquishDefault(); };
  add(property::kRelinquishDefault, std::move(relinquishDefault));
  properties_.at(property::kPresentValue).computed = [this](const CObject&) { return priorities_->effective(); };
}

void CObject::tellOrigins() {
  origins_.emplace();
  const auto addComputed = [this](PropertyId id, Shape shape, std::function<Values(const CObject&)> computed) {
    Property property;
    property.shape = shape;
    property.computed = std::move(computed);
    add(id, std::move(property));
  };
  addComputed(property::kValueSource, Shape::kSingle, [this](const CObject&) {
    const auto active = priorities_->active();
    return active ? origins_->sourceOf(*active) : Values{toValue({})};
  });
  addComputed(property::kValueSourceArray, Shape::kArray, [this](const CObject&) { return origins_->sources(); });
  addComputed(property::kCommandTimeArray, Shape::kArray, [this](const CObject&) { return origins_->times(); });
  addComputed(property::kLastCommandTime, Shape::kSingle, [this](const CObject&) { return origins_->lastTime(); });
}

bool CObject::has(PropertyId id) const {
  return properties_.count(id) != 0;
}

const Property* CObject::find(PropertyId id) const {
  const auto found = properties_.find(id);
  return found == properties_.end() ? nullptr : &found->second;
}

std::vector<PropertyId> CObject::propertyIds(bool required, bool optional) const {
  std::vector<PropertyId> ids;
  for (const auto& [id, property] : properties_) {
    if (id != property::kPropertyList && (property.isRequired ? required : optional)) ids.push_back(id);
  }
  return ids;
}

Values CObject::contentOf(const Property& property) const {
  return property.computed ? property.computed(*this) : property.values;
}

Content CObject::read(const PropertyReference& reference) const {
  const Property* property = find(reference.property);
  if (property == nullptr) return kUnknownProperty;
  if (!reference.index) return contentOf(*property);
  if (property->shape != Shape::kArray) return kNotAnArray;
  Values elements = contentOf(*property);
  if (*reference.index == 0) return Values{std::uint64_t{elements.size()}};
  if (*reference.index > elements.size()) return kInvalidArrayIndex;
  return Values{std::move(elements[*reference.index - 1])};
}

std::optional<Error> CObject::write(const PropertyReference& reference, const Values& values,
                                    std::optional<std::uint8_t> priority, const ValueSource& source) {
  const auto found = properties_.find(reference.property);
  if (found == properties_.end()) return kUnknownProperty;
  Property& property = found->second;
  if (reference.index && property.shape != Shape::kArray) return kNotAnArray;
  const bool isWritable =
      property.access == Access::kAlways || (property.access == Access::kOutOfService && isOutOfService());
  if (!isWritable) return kWriteAccessDenied;
  if (reference.index) return writeElement(property, *reference.index, values);
  if (priorities_ && reference.property == property::kPresentValue) {
    return command(values, priority.value_or(kLowestPriority), source);
  }
  if (const auto error = refusalOfWhole(values, property)) return error;
  set(reference.property, values);
  return std::nullopt;
}

std::optional<Error> CObject::writeElement(Property& property, ArrayIndex index, const Values& values) {
  if (index == 0) return kWriteAccessDenied;  // arrays keep their size
  if (index > property.values.size()) return kInvalidArrayIndex;
  if (const auto error = refusalOf(values, property)) return error;
  property.values[index - 1] = values.front();
  return std::nullopt;
}

std::optional<Error> CObject::command(const Values& values, std::uint8_t priority, const ValueSource& source) {
  if (priority == kReservedPriority) return kWriteAccessDenied;
  if (isNull(values)) {
    priorities_->release(priority);
    if (origins_) origins_->note(priority, {});
    return std::nullopt;
  }
  if (const auto error = refusalOf(values, properties_.at(property::kPresentValue))) return error;
  priorities_->command(priority, values);
  if (origins_) origins_->note(priority, source);
  return std::nullopt;
}

void CObject::set(PropertyId id, Values values) {
  const bool isDefault = id == property::kPresentValue || id == property::kRelinquishDefault;
  if (priorities_ && isDefault) {
    priorities_->setRelinquishDefault(std::move(values));
  } else {
    properties_.at(id).values = std::move(values);
  }
}

Values CObject::values(PropertyId id) const {
  const Property* property = find(id);
  return property == nullptr ? Values{} : contentOf(*property);
}

bool CObject::isOutOfService() const {
  const Values values = this->values(property::kOutOfService);
  return values.size() == 1 && values[0] == Value(true);
}

}  // namespace bacnet::server
