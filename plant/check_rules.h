#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "plant/check.h"
#include "plant/project_document.h"

namespace plant {

// The parts of the project check; for the sources of this folder only.

/// Takes down problems, each with the place it was found at.
class CProblems {
 public:
  CProblems(const ProjectDocument& document, std::vector<Problem>& problems)
      : document_(document), problems_(problems) {}

  /// What follows stands in this link and element.
  void enter(std::optional<std::int32_t> link, const std::string& where);
  void error(const pugi::xml_node& at, const std::string& text, const std::string& remedy);
  void warning(const pugi::xml_node& at, const std::string& text, const std::string& remedy);
  std::size_t lineOf(const pugi::xml_node& element) const { return document_.lineOf(element); }

 private:
  void add(Severity severity, const pugi::xml_node& at, const std::string& text, const std::string& remedy);

  const ProjectDocument& document_;
  std::vector<Problem>& problems_;
  std::optional<std::int32_t> link_;
  std::string where_;
};

/// The whole number that `text` writes, decimal or hexadecimal after 0x; nothing when it is none, or is huge.
std::optional<std::int64_t> wholeNumber(std::string_view text);

/// What an integer element may hold.
struct IntegerRule {
  const char* element;
  std::int64_t least;
  std::int64_t most;
  const char* remedy;
};
/// Complains of an element that breaks the rule; an absent one does not. Result: its number, if it is within the rule.
std::optional<std::int64_t> checkInteger(const pugi::xml_node& parent, const IntegerRule& rule, CProblems& problems);
void checkBoolean(const pugi::xml_node& parent, const char* element, CProblems& problems);

using Names = std::vector<std::string_view>;
/// Complains of children that are none of `known`, and, unless they are `mayRepeat`, of those that are there twice.
void checkChildren(const pugi::xml_node& parent, const Names& known, bool mayRepeat, CProblems& problems);
/// Complains of text that stands between the elements of `parent`.
void checkStrayText(const pugi::xml_node& parent, CProblems& problems);

/// Complains of the parameters of one "BACnet" element.
void checkParameters(const pugi::xml_node& bacnet, CProblems& problems);

constexpr std::int64_t kWildcardInstance = 4194303;  // stands for every device
constexpr int kForeign = 2;                          // the Mode of a link whose Ip is that of a BBMD

/// In the order of the network; nothing when the text is none.
std::optional<std::uint32_t> parseIp(const std::string& text);
/// The octets of an address on a BACnet network, of which MacLen says that it has `length`; nothing when the text is
/// none.
std::optional<std::string> octetsOf(const std::string& text, std::int64_t length);

/// The devices of the links, against each other. That two links have one device works, but is seldom meant.
class CDeviceCheck {
 public:
  /// Complains of the device in this "BACnet" element when another link has it.
  void add(const pugi::xml_node& bacnet, std::int32_t link, CProblems& problems);

 private:
  struct Known {
    std::int32_t link;
    std::size_t line;
  };
  using Place = std::tuple<std::uint32_t, std::int64_t, std::int64_t, std::string>;  // IP, port, network, octets there

  static std::optional<Place> placeOf(const pugi::xml_node& bacnet);

  std::map<std::int64_t, Known> byDevice_;
  std::map<Place, Known> byPlace_;
};

/// The points of one link, against each other as well.
class CPointCheck {
 public:
  /// Complains of one "Symbol" of this link.
  void add(const pugi::xml_node& symbol, std::int32_t link, CProblems& problems);
  /// Complains of what shows only when all points are known.
  void finish(std::int32_t link, CProblems& problems) const;

 private:
  struct Known {
    std::string name;
    std::int32_t regId;
    std::size_t line;
  };
  using Object = std::pair<std::int32_t, std::int32_t>;  // type, instance

  std::map<std::int32_t, Known> byRegId_;
  std::map<std::string, Known> byName_;
  std::vector<std::pair<Object, pugi::xml_node>> releases_;
  std::map<Object, bool> isWritable_;
};

}  // namespace plant
