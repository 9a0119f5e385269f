#include <array>
#include <cstdlib>
#include <pugixml.hpp>
#include <stdexcept>
#include <string_view>

#include "cbl/log/log_line.h"
#include "driver/bacnet_link.h"
#include "driver/value_block.h"

namespace driver {

namespace {

constexpr std::int32_t kPropertyNotifyType = 72;
constexpr std::int32_t kPropertyPresentValue = 85;
constexpr std::int32_t kPropertyPriorityArray = 87;
constexpr std::int32_t kPropertyUnits = 117;

struct DataTypeWord {
  std::string_view word;
  std::int32_t code;
};

constexpr std::array<DataTypeWord, 7> kDataTypeWords = {{
    {"", kTypeEmpty},
    {"BOOL", kTypeBool},
    {"UDINT", kTypeUdint},
    {"UINT", kTypeUint},
    {"REAL", kTypeReal},
    {"DOUBLE", kTypeDouble},
    {"STRING", kTypeString},
}};

std::int32_t dataTypeCode(std::string_view word) {
  for (const DataTypeWord& known : kDataTypeWords) {
    if (known.word == word) return known.code;
  }
  return kTypeUnknown;
}

// Value size in bytes. A text has 1 per element: the register's length decides how many it transfers.
std::int32_t dataSizeOf(std::int32_t code) {
  switch (code) {
    case kTypeBool:
    case kTypeString:
      return 1;
    case kTypeDouble:
      return 8;
    default:
      return 4;
  }
}

bool isTreatedSpecially(std::int32_t code, std::int32_t propId) {
  if (propId == kPropertyNotifyType || propId == kPropertyUnits) return true;
  return code == kTypeBool && (propId == kPropertyPresentValue || propId == kPropertyPriorityArray);
}

pugi::xml_text textOf(const pugi::xml_node& element, const char* child) {
  return element.child(child).text();
}

// Splits Temp[3] into name and index.
void readName(const char* text, SymbolRecord& record) {
  record.name = text;
  const std::size_t open = record.name.find('[');
  if (open == std::string::npos || record.name.find(']') == std::string::npos) return;
  record.hasIndex = true;
  record.arrayIndex = static_cast<std::int32_t>(std::strtol(text + open + 1, nullptr, 10));
  record.name.resize(open);
}

}  // namespace

CBACnetLink::~CBACnetLink() {
  client.close();
  for (auto& [regId, record] : symbols) freeValueBlocks(record.valueBlock);
  symbols.clear();
}

std::int32_t CBACnetLink::loadProject(const std::string& path, std::int32_t linkNumber) {
  if (path.empty()) return -1;

  pugi::xml_document document;
  const pugi::xml_parse_result parsed = document.load_file(path.c_str());
  if (!parsed) {
    cbl::logLine(cbl::kErrorTag, "XML Parse Error: %s", parsed.description());
    return -2;
  }

  const pugi::xml_node project = document.child("ProjectInfo");
  if (!project) return -3;

  const auto isOfLink = [linkNumber](const pugi::xml_node& element) {
    return element.attribute("LinkID").as_int() == linkNumber;
  };
  for (const pugi::xml_node& element : project.children("BACnet")) {
    if (isOfLink(element)) readLinkParameters(element);  // of several, the last one's stay
  }
  for (const pugi::xml_node& element : project.children("Symbols")) {
    if (isOfLink(element)) readSymbols(element);
  }
  return sendProjectConfig();
}

void CBACnetLink::readLinkParameters(const pugi::xml_node& element) {
  ip = textOf(element, "Ip").as_string();
  desPort = textOf(element, "DesPort").as_int();
  srcPort = textOf(element, "SrcPort").as_int();
  deviceId = textOf(element, "DeviceId").as_int();
  enableReadPropm = textOf(element, "EnableReadPropm").as_bool();
  enableWritePropm = textOf(element, "EnableWritePropm").as_bool();
  enableSCOV = textOf(element, "EnableSCOV").as_int();
  mode = textOf(element, "Mode").as_int();
  network = static_cast<std::uint16_t>(textOf(element, "Network").as_int());
  macLen = textOf(element, "MacLen").as_int();
  virtualMac = textOf(element, "VirtualMac").as_string();
}

void CBACnetLink::readSymbols(const pugi::xml_node& element) {
  for (const pugi::xml_node& symbol : element.children("Symbol")) {
    const std::int32_t regId = textOf(symbol, "RegId").as_int();
    const auto [entry, isNew] = symbols.try_emplace(static_cast<std::uint32_t>(regId));
    if (!isNew) continue;  // the first point of a RegId stays

    SymbolRecord& record = entry->second;
    readName(textOf(symbol, "Name").as_string(), record);
    record.regId = regId;
    record.objectType = textOf(symbol, "ObjectType").as_int();
    record.instance = textOf(symbol, "Instance").as_int();
    record.propId = textOf(symbol, "PropID").as_int();

    const std::int32_t code = dataTypeCode(textOf(symbol, "DataType").as_string());
    record.valueBlock = makeValueBlock(code);
    record.dataSize = dataSizeOf(code);
    record.dataType = isTreatedSpecially(code, record.propId) ? kTypeSpecial : code;

    record.bitNum = textOf(symbol, "BitNum").as_int();
    record.priorityReset = textOf(symbol, "PriorityReset").as_bool();
  }
}

std::int32_t CBACnetLink::findSymbol(const std::string& name, SymbolRecord& record) const {
  const SymbolRecord* found = symbolOf(name);
  if (found == nullptr) return -1;
  record = *found;
  return 0;
}

const SymbolRecord* CBACnetLink::symbolOf(const std::string& name) const {
  std::int32_t regId = 0;
  try {
    regId = std::stoi(name);
  } catch (const std::logic_error&) {  // no number, or none that fits
    return nullptr;
  }
  const auto found = symbols.find(static_cast<std::uint32_t>(regId));
  return found != symbols.end() ? &found->second : nullptr;
}

}  // namespace driver
