#include "plant/ede_writer.h"

#include <set>
#include <tuple>

#include "plant/bacnet_numbers.h"
#include "plant/csv.h"
#include "plant/object_points.h"

namespace plant {

namespace {

constexpr char kSeparator = ';';
constexpr const char* kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kMandatory = 5;

const std::vector<std::string>& columnNames() {
  static const std::vector<std::string> names = {"# keyname",
                                                 "device obj.-instance",
                                                 "object-name",
                                                 "object-type",
                                                 "object-instance",
                                                 "description",
                                                 "present-value-default",
                                                 "min-present-value",
                                                 "max-present-value",
                                                 "settable",
                                                 "supports COV",
                                                 "hi-limit",
                                                 "low-limit",
                                                 "state-text-reference",
                                                 "unit-code",
                                                 "vendor-specific-address",
                                                 "notification-class"};
  return names;
}

std::string headLines(const EdeHead& head) {
  std::string lines = kByteOrderMark;
  const std::pair<const char*, std::string> all[] = {{"PROJECT_NAME", head.projectName},
                                                     {"VERSION_OF_REFERENCEFILE", "1"},
                                                     {"TIMESTAMP_OF_LAST_CHANGE", head.date},
                                                     {"AUTHOR_OF_LAST_CHANGE", "hmi-host"},
                                                     {"VERSION_OF_LAYOUT", "2.3"}};
  for (const auto& [name, value] : all) lines += csvLine({name, value}, kSeparator);
  std::vector<std::string> demands(columnNames().size(), "optional");
  for (std::size_t i = 0; i < kMandatory; ++i) demands[i] = i == 0 ? "#mandatory" : "mandatory";
  return lines + csvLine(demands, kSeparator) + csvLine(columnNames(), kSeparator);
}

bool isOutput(std::int32_t objectType) {
  return objectType == 1 || objectType == 4 || objectType == 14;
}

bool isPresentValue(const Point& point) {
  return point.propId == kPresentValue && point.arrayIndex < 0 && !point.priorityReset;
}

using Object = std::pair<std::int32_t, std::int32_t>;  // type, instance

std::set<Object> commandedIn(const Link& link) {
  std::set<Object> commanded;
  for (const Point& point : link.points) {
    if (point.priorityReset || point.propId == kPriorityArray || isOutput(point.objectType))
      commanded.emplace(point.objectType, point.instance);
  }
  return commanded;
}

}  // namespace

EdeText toEde(const std::vector<Link>& links, const EdeHead& head,
              const std::function<std::string(std::int32_t)>& typeName) {
  EdeText text;
  std::set<std::int32_t> types;
  std::set<std::tuple<std::int32_t, std::int32_t, std::int32_t>> written;
  text.list = headLines(head);
  for (const Link& link : links) {
    const bool hasDevice = link.deviceId > 0 && link.deviceId <= kLastInstance;
    const std::set<Object> commanded = commandedIn(link);
    for (const Point& point : link.points) {
      const char* const dataType = presentValueType(point.objectType);
      const bool isObject = isPresentValue(point) && dataType != nullptr && point.instance >= 0 &&
                            point.instance <= kLastInstance && point.objectType >= 0;
      if (!isObject || !written.emplace(hasDevice ? link.deviceId : 0, point.objectType, point.instance).second) {
        ++text.leftOut;
        continue;
      }
      std::vector<std::string> fields(columnNames().size());
      fields[0] = fields[2] = point.fullName();
      fields[1] = hasDevice ? std::to_string(link.deviceId) : "";
      fields[3] = std::to_string(point.objectType);
      fields[4] = std::to_string(point.instance);
      fields[9] = commanded.count({point.objectType, point.instance}) > 0 ? "Y" : "N";
      text.list += csvLine(fields, kSeparator);
      types.insert(point.objectType);
      ++text.objects;
      if (point.dataTypeWord != dataType) ++text.otherDataType;
    }
  }
  text.objectTypes = kByteOrderMark + csvLine({"#Encoding of object types"}, kSeparator) +
                     csvLine({"#Code", "Object Type"}, kSeparator);
  for (const std::int32_t type : types) text.objectTypes += csvLine({std::to_string(type), typeName(type)}, kSeparator);
  return text;
}

}  // namespace plant
