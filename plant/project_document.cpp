#include "plant/project_document.h"

#include <algorithm>
#include <utility>

#include "plant/file.h"
#include "plant/text_encoding.h"

namespace plant {

namespace {

const char* charsetOf(pugi::xml_encoding encoding) {
  switch (encoding) {
    case pugi::encoding_utf16_le:
      return "UTF-16LE";
    case pugi::encoding_utf16_be:
      return "UTF-16BE";
    case pugi::encoding_utf32_le:
      return "UTF-32LE";
    case pugi::encoding_utf32_be:
      return "UTF-32BE";
    case pugi::encoding_latin1:
      return "ISO-8859-1";
    default:
      return nullptr;
  }
}

std::vector<std::ptrdiff_t> lineEndsOf(const std::string& text) {
  std::vector<std::ptrdiff_t> ends;
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1))
    ends.push_back(static_cast<std::ptrdiff_t>(at));
  return ends;
}

// Offsets count bytes of UTF-8, so a file of another encoding is parsed a second time as such.
pugi::xml_parse_result parse(std::string text, unsigned options, ProjectDocument& document) {
  pugi::xml_parse_result parsed = document.xml.load_buffer(text.data(), text.size(), options);
  if (const char* const charset = charsetOf(parsed.encoding)) {
    if (auto converted = toUtf8(text, charset)) {
      text = std::move(*converted);
      parsed = document.xml.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8);
    }
  }
  document.lineEnds = lineEndsOf(text);
  return parsed;
}

}  // namespace

std::size_t ProjectDocument::lineAt(std::ptrdiff_t offset) const {
  if (offset < 0) return 0;
  const auto before = std::lower_bound(lineEnds.begin(), lineEnds.end(), offset) - lineEnds.begin();
  return 1 + static_cast<std::size_t>(before);
}

std::int32_t loadDocument(const std::string& path, unsigned parseOptions, ProjectDocument& document,
                          std::string& error) {
  std::string text;
  if (readFile(path, text, error) != 0) return -1;

  const pugi::xml_parse_result parsed = parse(std::move(text), parseOptions, document);
  if (parsed.status == pugi::status_out_of_memory) {
    error = path + ": " + parsed.description();
    return -1;
  }
  if (parsed.status != pugi::status_ok) {
    error = path + ": line " + std::to_string(document.lineAt(parsed.offset)) + ": " + parsed.description();
    return -2;
  }

  if (!document.projectInfo()) {
    error = path + ": no ProjectInfo element";
    return -3;
  }
  return 0;
}

Point readPoint(const pugi::xml_node& symbol) {
  const auto integer = [&](const char* element) { return symbol.child(element).text().as_int(); };

  Point point;
  setName(point, symbol.child("Name").text().as_string());
  point.regId = integer("RegId");
  point.objectType = integer("ObjectType");
  point.instance = integer("Instance");
  point.propId = integer("PropID");
  setDataType(point, symbol.child("DataType").text().as_string());
  point.bitNum = integer("BitNum");
  point.priorityReset = symbol.child("PriorityReset").text().as_bool();
  return point;
}

void readParameters(const pugi::xml_node& bacnet, Link& link) {
  const auto text = [&](const char* name) { return bacnet.child(name).text(); };

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

std::int32_t linkIdOf(const pugi::xml_node& element) {
  return element.attribute("LinkID").as_int();
}

}  // namespace plant
