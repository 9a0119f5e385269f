#include "plant/project.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <set>
#include <utility>

#include "plant/project_document.h"

namespace plant {

namespace {

struct WordMeaning {
  const char* word;
  DataType type;
  std::int32_t size;  // bytes
};

constexpr std::array<WordMeaning, 6> kDataTypes = {{
    {"BOOL", DataType::kBool, 1},
    {"UDINT", DataType::kUdint, 4},
    {"UINT", DataType::kUint, 4},
    {"REAL", DataType::kReal, 4},
    {"DOUBLE", DataType::kDouble, 8},
    {"STRING", DataType::kString, 1},
}};

constexpr std::int32_t kNotifyType = 72;
constexpr std::int32_t kUnits = 117;

bool isEnumerated(std::int32_t propId) {
  return propId == kNotifyType || propId == kUnits;
}

Link readLink(const pugi::xml_node& projectInfo, std::int32_t linkId) {
  Link link;
  link.linkId = linkId;
  for (const pugi::xml_node& element : projectInfo.children("BACnet")) {
    if (linkIdOf(element) == linkId) readParameters(element, link);  // the last one of a number wins
  }
  std::set<std::int32_t> seen;
  for (const pugi::xml_node& symbols : projectInfo.children("Symbols")) {
    if (linkIdOf(symbols) != linkId) continue;
    link.present = true;
    for (const pugi::xml_node& symbol : symbols.children("Symbol")) {
      Point point = readPoint(symbol);
      if (seen.insert(point.regId).second) link.points.push_back(std::move(point));
    }
  }
  return link;
}

}  // namespace

std::string Point::fullName() const {
  return arrayIndex < 0 ? name : name + '[' + std::to_string(arrayIndex) + ']';
}

void setName(Point& point, const std::string& text) {
  point.name = text;
  point.arrayIndex = Point().arrayIndex;
  const std::size_t open = text.find('[');
  if (open == std::string::npos || text.find(']') == std::string::npos) return;
  point.name.resize(open);
  point.arrayIndex = static_cast<std::int32_t>(std::strtol(text.c_str() + open + 1, nullptr, 10));
}

bool isDataType(const std::string& word) {
  return std::any_of(kDataTypes.begin(), kDataTypes.end(), [&](const WordMeaning& each) { return each.word == word; });
}

void setDataType(Point& point, const std::string& word) {
  point.dataTypeWord = word;
  const auto meaning =
      std::find_if(kDataTypes.begin(), kDataTypes.end(), [&](const WordMeaning& each) { return each.word == word; });
  point.type = meaning == kDataTypes.end() ? DataType::kRaw : meaning->type;
  point.size = meaning == kDataTypes.end() ? Point().size : meaning->size;
  if (isEnumerated(point.propId)) point.type = DataType::kEnumerated;  // the size stays the word's
}

std::int32_t readProject(const std::string& path, std::int32_t linkId, Link& link, std::string& error) {
  ProjectDocument document;
  const std::int32_t result = loadDocument(path, pugi::parse_default, document, error);
  if (result == 0) link = readLink(document.projectInfo(), linkId);
  return result;
}

std::int32_t readLinks(const std::string& path, std::vector<Link>& links, std::string& error) {
  ProjectDocument document;
  const std::int32_t result = loadDocument(path, pugi::parse_default, document, error);
  if (result != 0) return result;
  std::set<std::int32_t> numbers;
  for (const pugi::xml_node& element : document.projectInfo().children()) {
    const std::string_view name = element.name();
    if (name == "BACnet" || name == "Symbols") numbers.insert(linkIdOf(element));
  }
  links.clear();
  for (const std::int32_t number : numbers) links.push_back(readLink(document.projectInfo(), number));
  return 0;
}

}  // namespace plant
