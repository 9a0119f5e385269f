#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "bacnet/codec/value.h"
#include "bacnet/server/command_origins.h"
#include "bacnet/server/priority_array.h"
#include "bacnet/server/values.h"
#include "bacnet/service/failure.h"
#include "bacnet/service/value_source.h"

namespace bacnet::server {

class CObject;

enum class Shape { kSingle, kArray, kList };
enum class Access { kReadOnly, kOutOfService, kAlways };  ///< kOutOfService: writable while that is true

/// One property: what it holds and what may be written into it.
struct Property {
  Datatype datatype = Datatype::kAny;
  Values values;
  Shape shape = Shape::kSingle;
  Access access = Access::kReadOnly;
  bool isRequired = false;                                ///< by the standard, for the object's type
  std::optional<std::pair<double, double>> range;         ///< of a number, both ends included
  std::function<Values(const CObject& object)> computed;  ///< takes the place of `values`
};

using Content = std::variant<Values, Error>;

/// A BACnet object: properties by their number, read and written with the standard's errors.
class CObject {
 public:
  CObject(ObjectId id, const std::string& name);
  CObject(const CObject&) = delete;
  CObject& operator=(const CObject&) = delete;

  ObjectId id() const { return id_; }
  void setInstance(std::uint32_t instance) { id_.instance = instance; }
  std::string name() const;

  /// Adds a property or puts another in its place.
  void add(PropertyId id, Property property);
  /// Gives the present value, which has been added, a priority array and a relinquish default that begins as its value;
  /// outputs require them, values have the choice.
  void makeCommandable(bool isRequired);
  /// Has a commandable object tell who commanded each priority, and when, in the standard's properties for it.
  void tellOrigins();

  bool has(PropertyId id) const;
  const Property* find(PropertyId id) const;
  /// All that the standard requires, or all others, or both, without the property list itself.
  std::vector<PropertyId> propertyIds(bool required, bool optional) const;

  Content read(const PropertyReference& reference) const;
  /// `priority` is 1 to 16 and counts for a commandable present value only, `source` where the object tells it.
  /// Result: nothing when it is written.
  std::optional<Error> write(const PropertyReference& reference, const Values& values,
                             std::optional<std::uint8_t> priority, const ValueSource& source = {});

  /// The device's own doing, which no access right keeps out. A commandable present value stays what it is commanded to
  /// be and takes `values` as its relinquish default.
  void set(PropertyId id, Values values);

  /// The content of a property that the object has; empty otherwise.
  Values values(PropertyId id) const;
  bool isOutOfService() const;
  bool isCommandable() const { return priorities_.has_value(); }
  bool isCommanded() const { return priorities_ && priorities_->isCommanded(); }

 private:
  Values contentOf(const Property& property) const;
  std::optional<Error> writeElement(Property& property, ArrayIndex index, const Values& values);
  std::optional<Error> command(const Values& values, std::uint8_t priority, const ValueSource& source);

  ObjectId id_;
  std::map<PropertyId, Property> properties_;
  std::optional<CPriorityArray> priorities_;
  std::optional<CCommandOrigins> origins_;  // where it tells them
};

}  // namespace bacnet::server
