#include "plant/check_rules.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>
#include <set>
#include <system_error>

namespace plant {

namespace {

constexpr std::string_view kXmlBlanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kXmlBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kXmlBlanks) - first + 1);
}

// Names are confused in their capitals, and with '_' and '-' in them.
std::string folded(std::string_view name) {
  std::string text;
  for (const char letter : name) {
    if (letter != '_' && letter != '-') text += static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  }
  return text;
}

// Texts of the file may hold line ends.
std::string inOneLine(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char each) { return each == '\r' || each == '\n'; }, ' ');
  return text;
}

std::string quoted(const std::string& text) {
  return "'" + text + "'";
}

}  // namespace

void CProblems::enter(std::optional<std::int32_t> link, const std::string& where) {
  link_ = link;
  where_ = where;
}

void CProblems::error(const pugi::xml_node& at, const std::string& text, const std::string& remedy) {
  add(Severity::kError, at, text, remedy);
}

void CProblems::warning(const pugi::xml_node& at, const std::string& text, const std::string& remedy) {
  add(Severity::kWarning, at, text, remedy);
}

void CProblems::add(Severity severity, const pugi::xml_node& at, const std::string& text, const std::string& remedy) {
  problems_.push_back({lineOf(at), severity, link_, inOneLine(where_), inOneLine(text), remedy});
}

std::optional<std::int64_t> wholeNumber(std::string_view text) {
  text = trimmed(text);
  const bool isNegative = text.substr(0, 1) == "-";
  if (isNegative || text.substr(0, 1) == "+") text.remove_prefix(1);
  const bool isHex = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
  if (isHex) text.remove_prefix(2);

  std::uint32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number, isHex ? 16 : 10);
  if (failure != std::errc() || stop != end) return std::nullopt;
  return isNegative ? -std::int64_t{number} : std::int64_t{number};
}

std::optional<std::int64_t> checkInteger(const pugi::xml_node& parent, const IntegerRule& rule, CProblems& problems) {
  const pugi::xml_node element = parent.child(rule.element);
  if (!element) return std::nullopt;
  const std::string text = element.text().as_string();
  const std::optional<std::int64_t> number = wholeNumber(text);
  if (number && *number >= rule.least && *number <= rule.most) return number;
  if (number)
    problems.error(element, rule.element + (" " + text) + " is out of range", rule.remedy);
  else
    problems.error(element,
                   rule.element + (" " + quoted(text)) + " is no whole number; " +
                       std::to_string(element.text().as_int()) + " is taken",
                   rule.remedy);
  return std::nullopt;
}

void checkBoolean(const pugi::xml_node& parent, const char* element, CProblems& problems) {
  static const std::set<std::string, std::less<>> kWords = {"true", "false", "1", "0", "yes", "no", "t", "f", "y", "n"};
  const pugi::xml_node child = parent.child(element);
  const std::string text = child.text().as_string();
  if (!child || text.empty() || kWords.count(folded(text)) > 0) return;
  problems.warning(child,
                   element + (" " + quoted(text)) + " is taken as " + (child.text().as_bool() ? "true" : "false"),
                   "write true or false");
}

void checkChildren(const pugi::xml_node& parent, const Names& known, bool mayRepeat, CProblems& problems) {
  std::map<std::string, std::size_t> firstLine;
  for (const pugi::xml_node& child : parent.children()) {
    if (child.type() != pugi::node_element) continue;
    const std::string name = child.name();
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      const auto meant =
          std::find_if(known.begin(), known.end(), [&](std::string_view each) { return folded(each) == folded(name); });
      if (meant != known.end())
        problems.error(child, "nothing reads the element " + name, "write " + std::string(*meant));
      else
        problems.warning(child, "nothing reads the element " + name, "remove it, or mend its name or place");
      continue;
    }
    const auto [first, isNew] = firstLine.emplace(name, problems.lineOf(child));
    if (!isNew && !mayRepeat)
      problems.warning(child, name + " is there already, in line " + std::to_string(first->second) + ", which counts",
                       "keep one of them");
    if (!mayRepeat) checkChildren(child, {}, true, problems);
  }
}

void checkStrayText(const pugi::xml_node& parent, CProblems& problems) {
  for (const pugi::xml_node& child : parent.children()) {
    if (child.type() != pugi::node_pcdata && child.type() != pugi::node_cdata) continue;
    std::string shown(trimmed(child.value()).substr(0, 20));
    shown.erase(std::min(shown.find_first_of("\r\n"), shown.size()));
    while (!shown.empty() && static_cast<unsigned char>(shown.back()) >= 0x80) shown.pop_back();  // whole characters
    problems.warning(parent, "nothing reads the text " + quoted(shown), "remove it, or make it a comment");
  }
}

}  // namespace plant
