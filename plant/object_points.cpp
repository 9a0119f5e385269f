#include "plant/object_points.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>

#include "plant/bacnet_numbers.h"

namespace plant {

namespace {

constexpr std::int32_t kStatusFlags = 111;
constexpr std::int32_t kFaultBit = 1;
constexpr std::int32_t kOutOfServiceBit = 3;
constexpr std::int32_t kFirstProprietary = 128;

struct ObjectType {
  std::int32_t number;
  const char* abbreviation;
  const char* dataType;  // of the present value
};

// Types of the standard that are not here have no present value, or one made of several values.
constexpr std::array<ObjectType, 37> kObjectTypes = {{
    {0, "AI", "REAL"},     {1, "AO", "REAL"},     {2, "AV", "REAL"},     {3, "BI", "BOOL"},     {4, "BO", "BOOL"},
    {5, "BV", "BOOL"},     {6, "CAL", "BOOL"},    {7, "CMD", "UDINT"},   {12, "LOOP", "REAL"},  {13, "MSI", "UDINT"},
    {14, "MSO", "UDINT"},  {17, "SCH", "STRING"}, {19, "MSV", "UDINT"},  {21, "LSP", "UDINT"},  {22, "LSZ", "UDINT"},
    {23, "ACC", "UDINT"},  {24, "PC", "REAL"},    {28, "LC", "UDINT"},   {30, "DOOR", "UDINT"}, {31, "TMR", "UDINT"},
    {39, "BSV", "STRING"}, {40, "CSV", "STRING"}, {41, "DPV", "STRING"}, {42, "DV", "STRING"},  {43, "DTPV", "STRING"},
    {44, "DTV", "STRING"}, {45, "IV", "DOUBLE"},  {46, "LAV", "DOUBLE"}, {47, "OSV", "STRING"}, {48, "PIV", "UDINT"},
    {49, "TPV", "STRING"}, {50, "TV", "STRING"},  {54, "LO", "REAL"},    {55, "BLO", "UDINT"},  {60, "STG", "REAL"},
    {63, "COL", "STRING"}, {64, "CT", "UDINT"},
}};

const ObjectType* typeOf(std::int32_t number) {
  const auto found = std::find_if(kObjectTypes.begin(), kObjectTypes.end(),
                                  [&](const ObjectType& each) { return each.number == number; });
  return found == kObjectTypes.end() ? nullptr : &*found;
}

Point pointOf(const ObjectRecord& object, const std::string& name, std::int32_t property, const std::string& dataType) {
  Point point;
  point.name = name;
  point.objectType = object.objectType;
  point.instance = object.instance;
  point.propId = property;
  setDataType(point, dataType);
  return point;
}

}  // namespace

bool PointFilter::admits(const ObjectRecord& object) const {
  const auto isNamed = [&](const std::string& glob) {
    return fnmatch(glob.c_str(), object.name.c_str(), FNM_CASEFOLD) == 0;
  };
  return (objectTypes.empty() || objectTypes.count(object.objectType) > 0) &&
         (names.empty() || std::any_of(names.begin(), names.end(), isNamed));
}

const char* presentValueType(std::int32_t objectType) {
  if (objectType >= kFirstProprietary) return "STRING";
  const ObjectType* const type = typeOf(objectType);
  return type ? type->dataType : nullptr;
}

std::string objectName(std::int32_t objectType, std::int32_t instance) {
  const ObjectType* const type = typeOf(objectType);
  return type ? type->abbreviation + std::to_string(instance)
              : std::to_string(objectType) + '-' + std::to_string(instance);
}

std::vector<Point> pointsOf(const ObjectRecord& object, const PointFilter& filter) {
  const char* const dataType = presentValueType(object.objectType);
  if (!dataType) return {};
  std::vector<Point> points = {pointOf(object, object.name, kPresentValue, dataType)};
  if (filter.withRelease && object.isCommandable) {
    points.push_back(pointOf(object, object.name + ".Release", kPresentValue, dataType));
    points.back().priorityReset = true;
  }
  if (filter.withFlags) {
    points.push_back(pointOf(object, object.name + ".Fault", kStatusFlags, "BOOL"));
    points.back().bitNum = kFaultBit;
    points.push_back(pointOf(object, object.name + ".OutOfService", kStatusFlags, "BOOL"));
    points.back().bitNum = kOutOfServiceBit;
  }
  return points;
}

}  // namespace plant
