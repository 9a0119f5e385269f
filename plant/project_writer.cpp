#include "plant/project_writer.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <set>
#include <sstream>
#include <tuple>

#include "plant/csv.h"
#include "plant/file.h"
#include "plant/project_document.h"

namespace plant {

namespace {

constexpr unsigned kParsing = pugi::parse_full | pugi::parse_ws_pcdata;
constexpr unsigned kFormatting = pugi::format_raw | pugi::format_no_declaration;
constexpr const char* kEmpty = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><ProjectInfo>\n</ProjectInfo>";

std::string boolText(bool value) {
  return value ? "true" : "false";
}

using Leaf = std::pair<const char*, std::string>;
using Leaves = std::vector<Leaf>;

// Elements in the order of the file. Those of one line stand together.
std::vector<Leaves> leavesOf(const Link& link) {
  const auto number = [](std::int32_t value) { return std::to_string(value); };
  const Leaves all = {{"Ip", link.ip},
                      {"DesPort", number(link.desPort)},
                      {"SrcPort", number(link.srcPort)},
                      {"DeviceId", number(link.deviceId)},
                      {"EnableReadPropm", boolText(link.enableReadPropm)},
                      {"EnableWritePropm", boolText(link.enableWritePropm)},
                      {"EnableSCOV", number(link.enableSCOV)},
                      {"Mode", number(link.mode)},
                      {"Network", number(link.network)},
                      {"MacLen", number(link.macLen)},
                      {"VirtualMac", link.virtualMac}};
  std::vector<Leaves> lines;
  for (const Leaf& leaf : all) lines.push_back({leaf});
  return lines;
}

std::vector<Leaves> leavesOf(const Point& point) {
  const auto number = [](std::int32_t value) { return std::to_string(value); };
  return {{{"Name", point.fullName()}, {"RegId", number(point.regId)}},
          {{"ObjectType", number(point.objectType)},
           {"Instance", number(point.instance)},
           {"PropID", number(point.propId)}},
          {{"DataType", point.dataTypeWord},
           {"BitNum", number(point.bitNum)},
           {"PriorityReset", boolText(point.priorityReset)}}};
}

bool isBlankText(const pugi::xml_node& node) {
  return node.type() == pugi::node_pcdata && withoutBlanks(node.value()).empty();
}

std::string indentation(int depth) {
  return "\n" + std::string(static_cast<std::size_t>(depth) * 2, ' ');
}

// Appends an element on a line of its own, before the blanks that put the parent's end on its line.
pugi::xml_node appendOnLine(pugi::xml_node parent, const char* name, int depth) {
  pugi::xml_node closing = parent.last_child();
  if (!isBlankText(closing)) {
    closing = parent.append_child(pugi::node_pcdata);
    closing.set_value(indentation(depth - 1).c_str());
  }
  parent.insert_child_before(pugi::node_pcdata, closing).set_value(indentation(depth).c_str());
  return parent.insert_child_before(name, closing);
}

void appendLeaves(pugi::xml_node parent, const std::vector<Leaves>& lines, int depth) {
  for (const Leaves& line : lines) {
    parent.append_child(pugi::node_pcdata).set_value(indentation(depth).c_str());
    for (const Leaf& leaf : line) parent.append_child(leaf.first).text().set(leaf.second.c_str());
  }
  parent.append_child(pugi::node_pcdata).set_value(indentation(depth - 1).c_str());
}

// Sets the elements whose text differs, and leaves the others as they are written.
void updateLeaves(pugi::xml_node parent, const std::vector<Leaves>& before, const std::vector<Leaves>& after,
                  int depth) {
  for (std::size_t line = 0; line < after.size(); ++line) {
    for (std::size_t i = 0; i < after[line].size(); ++i) {
      const auto& [name, text] = after[line][i];
      if (before[line][i].second == text) continue;
      pugi::xml_node child = parent.child(name);
      if (!child) child = appendOnLine(parent, name, depth);
      child.text().set(text.c_str());
    }
  }
}

bool isOf(const pugi::xml_node& element, const char* name, std::int32_t linkId) {
  return std::string_view(element.name()) == name && linkIdOf(element) == linkId;
}

// The last element of a kind is the one that counts for a link's parameters.
pugi::xml_node lastOf(const ProjectDocument& document, const char* name, std::int32_t linkId) {
  pugi::xml_node found;
  for (const pugi::xml_node& element : document.projectInfo().children()) {
    if (isOf(element, name, linkId)) found = element;
  }
  return found;
}

pugi::xml_node symbolOf(const ProjectDocument& document, std::int32_t linkId, std::int32_t regId) {
  for (const pugi::xml_node& symbols : document.projectInfo().children("Symbols")) {
    if (linkIdOf(symbols) != linkId) continue;
    for (const pugi::xml_node& symbol : symbols.children("Symbol")) {
      if (symbol.child("RegId").text().as_int() == regId) return symbol;
    }
  }
  return {};
}

pugi::xml_node appendLinked(ProjectDocument& document, const char* name, std::int32_t linkId) {
  pugi::xml_node element = appendOnLine(document.projectInfo(), name, 1);
  element.append_attribute("LinkID").set_value(linkId);
  return element;
}

// Behind the highest, so that a number once given away does not come to mean another point.
std::int32_t nextRegId(const std::vector<Point>& points) {
  std::set<std::int32_t> used = {0};
  for (const Point& each : points) used.insert(each.regId);
  if (*used.rbegin() < std::numeric_limits<std::int32_t>::max()) return *used.rbegin() + 1;
  std::int32_t free = 1;
  while (used.count(free) > 0) ++free;
  return free;
}

std::string replacedLineEnds(const std::string& text) {
  std::string replaced;
  for (const char each : text) replaced += each == '\n' ? std::string("\r\n") : std::string(1, each);
  return replaced;
}

}  // namespace

bool isSameProperty(const Point& a, const Point& b) {
  const auto key = [](const Point& point) {
    return std::make_tuple(point.objectType, point.instance, point.propId, point.arrayIndex, point.bitNum,
                           point.priorityReset);
  };
  return key(a) == key(b);
}

CProjectWriter::CProjectWriter() : document_(std::make_unique<ProjectDocument>()) {}
CProjectWriter::~CProjectWriter() = default;

std::int32_t CProjectWriter::open(const std::string& path, std::string& error) {
  path_ = path;
  std::error_code unknown;
  isNew_ = !std::filesystem::exists(path, unknown) && !unknown;
  if (isNew_) {
    document_->xml.load_string(kEmpty, kParsing);
    return 0;
  }
  std::vector<Link> links;
  std::int32_t result = readLinks(path, links, error);
  if (result == 0) result = loadDocument(path, kParsing, *document_, error);
  if (result != 0) return result;
  for (Link& link : links) links_.emplace(link.linkId, std::move(link));
  std::string source;
  if (readFile(path, source, error) != 0) return -1;
  hasCarriageReturns_ = source.find("\r\n") != std::string::npos;
  return 0;
}

Link& CProjectWriter::linkOf(std::int32_t linkId) {
  Link& link = links_[linkId];
  link.linkId = linkId;
  return link;
}

Placement CProjectWriter::putLink(const Link& link, bool mayChange) {
  pugi::xml_node element = lastOf(*document_, "BACnet", link.linkId);
  Link& known = linkOf(link.linkId);
  Link wanted = link;
  wanted.present = true;
  wanted.points.swap(known.points);
  if (!element) {
    known = std::move(wanted);
    addLinkElement(known);
    isChanged_ = true;
    return Placement::kAdded;
  }
  const bool isSame = leavesOf(known) == leavesOf(wanted);
  if (isSame || !mayChange) {
    known.points.swap(wanted.points);
    return isSame ? Placement::kKept : Placement::kDiffers;
  }
  updateLeaves(element, leavesOf(known), leavesOf(wanted), 2);
  known = std::move(wanted);
  isChanged_ = true;
  return Placement::kChanged;
}

Placement CProjectWriter::putPoint(std::int32_t linkId, const Point& point, bool mayChange) {
  std::vector<Point>& points = linkOf(linkId).points;
  const auto known =
      std::find_if(points.begin(), points.end(), [&](const Point& each) { return each.regId == point.regId; });
  if (known == points.end()) {
    addSymbol(linkId, point);
    return Placement::kAdded;
  }
  if (leavesOf(*known) == leavesOf(point)) return Placement::kKept;
  if (!mayChange) return Placement::kDiffers;
  updateLeaves(symbolOf(*document_, linkId, point.regId), leavesOf(*known), leavesOf(point), 3);
  *known = point;
  isChanged_ = true;
  return Placement::kChanged;
}

Placement CProjectWriter::addPoint(std::int32_t linkId, Point& point) {
  const std::vector<Point>& points = linkOf(linkId).points;
  const auto known =
      std::find_if(points.begin(), points.end(), [&](const Point& each) { return isSameProperty(each, point); });
  if (known != points.end()) {
    point = *known;
    return Placement::kKept;
  }
  point.regId = nextRegId(points);
  point.name = uniqueName(point.name, point, points);
  addSymbol(linkId, point);
  return Placement::kAdded;
}

void CProjectWriter::addLinkElement(const Link& link) {
  appendLeaves(appendLinked(*document_, "BACnet", link.linkId), leavesOf(link), 2);
}

void CProjectWriter::addSymbol(std::int32_t linkId, const Point& point) {
  Link& link = linkOf(linkId);
  if (!lastOf(*document_, "BACnet", linkId)) addLinkElement(link);
  pugi::xml_node symbols = lastOf(*document_, "Symbols", linkId);
  if (!symbols) symbols = appendLinked(*document_, "Symbols", linkId);
  appendLeaves(appendOnLine(symbols, "Symbol", 2), leavesOf(point), 3);
  link.present = true;
  link.points.push_back(point);
  isChanged_ = true;
}

std::string CProjectWriter::text() const {
  std::ostringstream text;
  for (pugi::xml_node node : document_->xml.children()) {  // the parser keeps no line ends between these
    if (node.type() == pugi::node_declaration && node.attribute("encoding")) node.attribute("encoding") = "UTF-8";
    node.print(text, "", kFormatting);
    text << '\n';
  }
  return hasCarriageReturns_ ? replacedLineEnds(text.str()) : text.str();
}

std::int32_t CProjectWriter::save(std::string& error) {
  const std::int32_t result = writeFile(path_, text(), isNew_ ? Existing::kRefused : Existing::kReplaced, error);
  if (result != 0) return result;
  isNew_ = false;
  isChanged_ = false;
  return 0;
}

}  // namespace plant
