#include <algorithm>

#include "plant/csv.h"
#include "plant/object_points.h"
#include "plant/project_writer.h"

namespace plant {

namespace {

// A bracket would begin an index.
std::string cleaned(const std::string& wish) {
  std::string name;
  for (const char each : wish) {
    const auto code = static_cast<unsigned char>(each);
    name += each == '[' ? '(' : each == ']' ? ')' : code < 0x20 || code == 0x7F ? ' ' : each;
  }
  return std::string(withoutBlanks(name));
}

}  // namespace

std::string uniqueName(const std::string& wish, const Point& point, const std::vector<Point>& taken) {
  const auto isFree = [&](const std::string& name) {
    return !name.empty() && std::none_of(taken.begin(), taken.end(), [&](const Point& each) {
      return each.name == name && each.arrayIndex == point.arrayIndex;
    });
  };
  std::string name = cleaned(wish);
  if (isFree(name)) return name;
  name += (name.empty() ? "" : "_") + objectName(point.objectType, point.instance);
  if (isFree(name)) return name;
  name += "_" + std::to_string(point.propId);
  if (isFree(name)) return name;
  for (int number = 2;; ++number) {
    std::string numbered = name + "_" + std::to_string(number);
    if (isFree(numbered)) return numbered;
  }
}

}  // namespace plant
