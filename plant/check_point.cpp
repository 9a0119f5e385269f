#include <limits>

#include "plant/bacnet_numbers.h"
#include "plant/check_rules.h"

namespace plant {

namespace {

constexpr std::int32_t kSlots = 16;
constexpr std::int32_t kReservedSlot = 6;

const Names kElements = {"Name", "RegId", "ObjectType", "Instance", "PropID", "DataType", "BitNum", "PriorityReset"};

const IntegerRule kRegIdRule = {"RegId", std::numeric_limits<std::int32_t>::min(),
                                std::numeric_limits<std::int32_t>::max(), "write the number of the host's register"};
const IntegerRule kObjectTypeRule = {"ObjectType", 0, kLastObjectType, "write 0 to 1023"};
const IntegerRule kInstanceRule = {"Instance", 0, kLastInstance, "write 0 to 4194302"};
const IntegerRule kPropIdRule = {"PropID", 0, 4194303, "write 0 to 4194303; the present value is 85"};
const IntegerRule kBitNumRule = {"BitNum", 0, 255, "write 0 for the first bit"};

void checkName(const pugi::xml_node& symbol, const Point& point, CProblems& problems) {
  const pugi::xml_node element = symbol.child("Name");
  const std::string text = element.text().as_string();
  if (text.empty()) {
    problems.warning(element ? element : symbol, "the point has no Name", "write one; people know points by name");
    return;
  }
  const std::size_t open = text.find('[');
  if (open == std::string::npos && text.find(']') == std::string::npos) return;
  const std::size_t close = open == std::string::npos ? open : text.find(']', open);
  const bool isIndex = close != std::string::npos && close > open + 1 && close + 1 == text.size() &&
                       text.find_first_not_of("0123456789", open + 1) == close;
  if (!isIndex)
    problems.warning(element, "the brackets of '" + text + "' hold no index; " + point.fullName() + " is taken",
                     "write an index, as in Temp[3], or another name");
}

void checkPresence(const pugi::xml_node& symbol, CProblems& problems) {
  for (const char* element : {"RegId", "PropID"}) {
    if (!symbol.child(element))
      problems.error(symbol, std::string(element) + " is missing; 0 is taken", std::string("write ") + element);
  }
  for (const char* element : {"ObjectType", "Instance"}) {
    if (!symbol.child(element))
      problems.warning(symbol, std::string(element) + " is missing; 0 is taken", std::string("write ") + element);
  }
}

void checkDataType(const pugi::xml_node& symbol, const Point& point, CProblems& problems) {
  if (isDataType(point.dataTypeWord)) return;
  const pugi::xml_node element = symbol.child("DataType");
  const std::string remedy = "write BOOL, UDINT, UINT, REAL, DOUBLE or STRING";
  if (point.dataTypeWord.empty())
    problems.warning(element ? element : symbol, "the point has no DataType; its value is shown raw", remedy);
  else
    problems.error(element, "DataType '" + point.dataTypeWord + "' is none; the value is shown raw", remedy);
}

void checkSlot(const pugi::xml_node& symbol, const Point& point, CProblems& problems) {
  if (point.propId != kPriorityArray) return;
  if (point.arrayIndex > kSlots || point.arrayIndex < Point().arrayIndex)
    problems.error(symbol, "there is no priority " + std::to_string(point.arrayIndex), "write an index of 1 to 16");
  else if (point.arrayIndex == kReservedSlot)
    problems.warning(symbol, "priority 6 is the device's own, for minimum on and off times; writes are refused",
                     "choose another priority, or only read it");
  else if (point.arrayIndex < 0 && point.type != DataType::kString)
    problems.warning(symbol, "a whole priority array is read as text, which is no " + point.dataTypeWord,
                     "write the priority as index, as in Temp[8], or DataType STRING");
  else if (point.arrayIndex == 0 && point.priorityReset)
    problems.error(symbol, "index 0 of a priority array is its length; there is nothing to release",
                   "write an index of 1 to 16");
}

}  // namespace

void CPointCheck::add(const pugi::xml_node& symbol, std::int32_t link, CProblems& problems) {
  const Point point = readPoint(symbol);
  problems.enter(link, point.fullName().empty() ? "Symbol" : point.fullName());
  checkChildren(symbol, kElements, false, problems);
  checkStrayText(symbol, problems);
  checkName(symbol, point, problems);
  checkPresence(symbol, problems);
  for (const IntegerRule& rule : {kRegIdRule, kObjectTypeRule, kInstanceRule, kPropIdRule, kBitNumRule})
    checkInteger(symbol, rule, problems);
  checkBoolean(symbol, "PriorityReset", problems);
  checkDataType(symbol, point, problems);
  checkSlot(symbol, point, problems);

  const Known known = {point.fullName(), point.regId, problems.lineOf(symbol)};
  const auto [taken, isNew] = byRegId_.emplace(point.regId, known);
  if (!isNew) {
    problems.error(symbol.child("RegId") ? symbol.child("RegId") : symbol,
                   "RegId " + std::to_string(point.regId) + " is that of '" + taken->second.name + "' in line " +
                       std::to_string(taken->second.line) + "; this point is dropped",
                   "write a RegId that the link does not have");
    return;
  }
  const auto [namesake, isFirst] = byName_.emplace(known.name, known);
  if (!isFirst && !known.name.empty())
    problems.warning(symbol.child("Name"),
                     "RegId " + std::to_string(namesake->second.regId) + " in line " +
                         std::to_string(namesake->second.line) + " has the same name",
                     "write another name, or name the points by RegId");

  const Object object = {point.objectType, point.instance};
  if (point.priorityReset)
    releases_.emplace_back(object, symbol);
  else if (point.propId == kPresentValue || (point.propId == kPriorityArray && point.arrayIndex > 0))
    isWritable_[object] = true;
}

void CPointCheck::finish(std::int32_t link, CProblems& problems) const {
  for (const auto& [object, symbol] : releases_) {
    const Point point = readPoint(symbol);
    problems.enter(link, point.fullName());
    const pugi::xml_node element = symbol.child("PriorityReset");
    if (point.propId != kPresentValue && point.propId != kPriorityArray)
      problems.error(element, "property " + std::to_string(point.propId) + " has no priority to release",
                     "write PropID 85, or 87 with an index");
    else if (isWritable_.count(object) == 0)
      problems.warning(element,
                       "every write releases the priority, and no other point writes this object: values are lost",
                       "write PriorityReset false, or add a point that writes it");
  }
}

}  // namespace plant
