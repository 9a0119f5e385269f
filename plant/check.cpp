#include "plant/check.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "plant/check_rules.h"

namespace plant {

namespace {

// What one link number comes to in the whole file.
struct LinkElements {
  pugi::xml_node bacnet;
  pugi::xml_node symbols;  // the first of its kind
  std::size_t points = 0;
  CPointCheck pointCheck;
};
using Links = std::map<std::int32_t, LinkElements>;

bool isPlain(std::string_view number) {
  const bool hasLeadingZero = number.size() > 1 && number[0] == '0';
  return !number.empty() && !hasLeadingZero && number.find_first_not_of("0123456789") == std::string_view::npos;
}

void checkLinkId(const pugi::xml_node& element, CProblems& problems) {
  const std::string remedy = "write LinkID=\"N\" with the link's number in decimal";
  for (const pugi::xml_attribute& attribute : element.attributes()) {
    if (std::string_view(attribute.name()) != "LinkID")
      problems.warning(element, std::string("nothing reads the attribute ") + attribute.name(), remedy);
  }
  const pugi::xml_attribute linkId = element.attribute("LinkID");
  const std::string text = linkId.as_string();
  const std::string taken = "link " + std::to_string(linkIdOf(element)) + " is taken";
  const auto number = wholeNumber(text);
  if (!linkId)
    problems.error(element, "LinkID is missing; " + taken, remedy);
  else if (!number || *number != linkIdOf(element) || *number < 0)
    problems.error(element, "LinkID '" + text + "' is no link's number; " + taken, remedy);
  else if (!isPlain(text))
    problems.warning(element, "LinkID '" + text + "' is not written as a plain number; " + taken, remedy);
}

void checkBacnet(const pugi::xml_node& element, LinkElements& link, CProblems& problems) {
  checkLinkId(element, problems);
  if (link.bacnet)
    problems.warning(element,
                     "the link's parameters stand in line " + std::to_string(problems.lineOf(link.bacnet)) +
                         " already; these here count, all of them",
                     "keep one BACnet element for each link");
  link.bacnet = element;
  checkParameters(element, problems);
}

void checkSymbols(const pugi::xml_node& element, std::int32_t number, LinkElements& link, CProblems& problems) {
  checkLinkId(element, problems);
  checkChildren(element, {"Symbol"}, true, problems);
  checkStrayText(element, problems);
  if (!link.symbols) link.symbols = element;
  for (const pugi::xml_node& symbol : element.children("Symbol")) {
    link.pointCheck.add(symbol, number, problems);
    ++link.points;
  }
}

void checkWhole(std::int32_t number, const LinkElements& link, CProblems& problems) {
  link.pointCheck.finish(number, problems);
  if (!link.bacnet) {
    problems.enter(number, "Symbols");
    problems.error(link.symbols, "link " + std::to_string(number) + " has points, but no BACnet element",
                   "add one with the same LinkID, or mend the LinkID");
  } else if (link.points == 0) {
    problems.enter(number, "BACnet");
    problems.warning(link.bacnet, "link " + std::to_string(number) + " has no points",
                     "add a Symbols element with the same LinkID");
  }
}

void checkDocument(const ProjectDocument& document, CProblems& problems) {
  problems.enter(std::nullopt, "ProjectInfo");
  bool isFirst = true;
  for (const pugi::xml_node& root : document.xml.children()) {
    if (root.type() != pugi::node_element) continue;
    const bool isRead = std::string_view(root.name()) == "ProjectInfo" && isFirst;
    if (isRead)
      isFirst = false;
    else
      problems.error(root, std::string("nothing reads the element ") + root.name() + " outside of ProjectInfo",
                     "put what it holds into ProjectInfo");
  }
  checkChildren(document.projectInfo(), {"BACnet", "Symbols"}, true, problems);
  checkStrayText(document.projectInfo(), problems);
}

}  // namespace

std::int32_t checkProject(const std::string& path, std::vector<Problem>& problems, std::string& error) {
  ProjectDocument document;
  const std::int32_t result = loadDocument(path, pugi::parse_default, document, error);
  if (result != 0) return result;

  std::vector<Problem> found;
  CProblems collector(document, found);
  checkDocument(document, collector);
  Links links;
  for (const pugi::xml_node& element : document.projectInfo().children()) {
    const std::string name = element.name();
    if (name != "BACnet" && name != "Symbols") continue;
    const std::int32_t number = linkIdOf(element);
    collector.enter(number, name);
    if (name == "BACnet")
      checkBacnet(element, links[number], collector);
    else
      checkSymbols(element, number, links[number], collector);
  }
  if (links.empty()) {
    collector.enter(std::nullopt, "ProjectInfo");
    collector.warning(document.projectInfo(), "the project has no link",
                      "add BACnet and Symbols elements with a LinkID");
  }
  CDeviceCheck devices;
  for (const auto& [number, link] : links) {
    checkWhole(number, link, collector);
    if (link.bacnet) devices.add(link.bacnet, number, collector);
  }

  std::stable_sort(found.begin(), found.end(), [](const Problem& a, const Problem& b) { return a.line < b.line; });
  problems.insert(problems.end(), found.begin(), found.end());
  return 0;
}

}  // namespace plant
