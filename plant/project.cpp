#include "plant/project.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>
#include <set>
#include <utility>

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

void readName(const std::string& text, Point& point) {
  const std::size_t open = text.find('[');
  point.name = text;
  if (open == std::string::npos || text.find(']') == std::string::npos) return;
  point.name.resize(open);
  point.arrayIndex = static_cast<std::int32_t>(std::strtol(text.c_str() + open + 1, nullptr, 10));
}

Point readPoint(const pugi::xml_node& symbol) {
  const auto integer = [&](const char* element) { return symbol.child(element).text().as_int(); };

  Point point;
  readName(symbol.child("Name").text().as_string(), point);
  point.regId = integer("RegId");
  point.objectType = integer("ObjectType");
  point.instance = integer("Instance");
  point.propId = integer("PropID");
  point.dataTypeWord = symbol.child("DataType").text().as_string();
  const auto meaning = std::find_if(kDataTypes.begin(), kDataTypes.end(),
                                    [&](const WordMeaning& each) { return each.word == point.dataTypeWord; });
  if (meaning != kDataTypes.end()) {
    point.type = meaning->type;
    point.size = meaning->size;
  }
  if (isEnumerated(point.propId)) point.type = DataType::kEnumerated;  // the size stays the word's
  point.bitNum = integer("BitNum");
  point.priorityReset = symbol.child("PriorityReset").text().as_bool();
  return point;
}

void readParameters(const pugi::xml_node& element, Link& link) {
  const auto text = [&](const char* name) { return element.child(name).text(); };

  link.present = true;
  link.ip = text("Ip").as_string();
  link.desPort = text("DesPort").as_int();
  link.srcPort = text("SrcPort").as_int();
  link.deviceId = text("DeviceId").as_int();
  link.enableReadPropm = text("EnableReadPropm").as_bool();
  link.enableWritePropm = text("EnableWritePropm").as_bool();
  link.enableSCOV = text("EnableSCOV").as_int();
  link.mode = text("Mode").as_int();
  link.network = static_cast<std::uint16_t>(text("Network").as_int());
  link.macLen = text("MacLen").as_int();
  link.virtualMac = text("VirtualMac").as_string();
}

bool belongsTo(const pugi::xml_node& element, std::int32_t linkId) {
  return element.attribute("LinkID").as_int() == linkId;
}

Link readLink(const pugi::xml_node& projectInfo, std::int32_t linkId) {
  Link link;
  link.linkId = linkId;
  for (const pugi::xml_node& element : projectInfo.children("BACnet")) {
    if (belongsTo(element, linkId)) readParameters(element, link);  // the last one of a number wins
  }
  std::set<std::int32_t> seen;
  for (const pugi::xml_node& symbols : projectInfo.children("Symbols")) {
    if (!belongsTo(symbols, linkId)) continue;
    link.present = true;
    for (const pugi::xml_node& symbol : symbols.children("Symbol")) {
      Point point = readPoint(symbol);
      if (seen.insert(point.regId).second) link.points.push_back(std::move(point));
    }
  }
  return link;
}

// "line 12: " for an offset that counts bytes of the file, which it does only where the file is UTF-8.
std::string whereInFile(const std::string& path, const pugi::xml_parse_result& parsed) {
  if (parsed.encoding != pugi::encoding_utf8) return {};
  std::ifstream file(path, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const auto end = std::min(parsed.offset, static_cast<std::ptrdiff_t>(text.size()));
  return "line " + std::to_string(1 + std::count(text.begin(), text.begin() + end, '\n')) + ": ";
}

}  // namespace

std::string Point::fullName() const {
  return arrayIndex < 0 ? name : name + '[' + std::to_string(arrayIndex) + ']';
}

std::int32_t readProject(const std::string& path, std::int32_t linkId, Link& link, std::string& error) {
  // Anything but a file is refused before it is opened: opening a pipe would wait for its writer.
  std::error_code reason;
  if (!std::filesystem::is_regular_file(path, reason)) {
    error = path + ": " + (reason ? reason.message() : "not a regular file");
    return -1;
  }
  if (!std::ifstream(path)) {
    error = path + ": " + std::strerror(errno);
    return -1;
  }

  pugi::xml_document document;
  const pugi::xml_parse_result parsed = document.load_file(path.c_str());
  switch (parsed.status) {
    case pugi::status_ok:
      break;
    case pugi::status_file_not_found:
    case pugi::status_io_error:
    case pugi::status_out_of_memory:
      error = path + ": " + parsed.description();
      return -1;
    default:
      error = path + ": " + whereInFile(path, parsed) + parsed.description();
      return -2;
  }

  const pugi::xml_node projectInfo = document.child("ProjectInfo");
  if (!projectInfo) {
    error = path + ": no ProjectInfo element";
    return -3;
  }
  link = readLink(projectInfo, linkId);
  return 0;
}

}  // namespace plant
