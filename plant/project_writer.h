#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "plant/project.h"

namespace plant {

struct ProjectDocument;

/// What became of a link or point that was to go into a project.
enum class Placement {
  kAdded,
  kKept,     ///< it is there already, just so
  kChanged,  ///< it was there otherwise, and was changed
  kDiffers,  ///< it is there otherwise, and was left alone
};

/// Makes a BACnetLabel.xml, or extends one: comments, unknown elements and the order of what is there stay. Nothing
/// reaches the disk before `save`.
class CProjectWriter {
 public:
  CProjectWriter();
  ~CProjectWriter();
  CProjectWriter(const CProjectWriter&) = delete;
  CProjectWriter& operator=(const CProjectWriter&) = delete;

  /// Starts from the file at `path`, or from an empty project when there is none. Called once, before all else.
  /// Result and `error` as `readProject`.
  std::int32_t open(const std::string& path, std::string& error);

  /// The project as it stands now, by link number, points in document order.
  const std::map<std::int32_t, Link>& links() const { return links_; }

  /// Puts in the parameters of link `link.linkId`; its points are not looked at. Those of a link that is there already
  /// are changed only when `mayChange`.
  Placement putLink(const Link& link, bool mayChange);

  /// Puts in a point that its RegId names. One of that RegId which is there already is changed only when `mayChange`.
  /// When the link has no parameters, they get their defaults.
  Placement putPoint(std::int32_t linkId, const Point& point, bool mayChange);

  /// Adds a point that has no RegId yet and whose name is only a wish: on return `point` has the link's next free RegId
  /// and a name that nothing else on the link has. When the link has a point for the same property already, that one is
  /// kept, and `point` is it. Result: kAdded or kKept.
  Placement addPoint(std::int32_t linkId, Point& point);

  /// The file's text as it stands now, in UTF-8.
  std::string text() const;

  /// Whether there is anything to save.
  bool isChanged() const { return isChanged_; }
  /// Writes the file that `open` named, whole or not at all. A file that has come into being since then is not
  /// overwritten. Result: 0; -1 it exists by now; -2 it cannot be written.
  std::int32_t save(std::string& error);

 private:
  void addLinkElement(const Link& link);
  void addSymbol(std::int32_t linkId, const Point& point);
  Link& linkOf(std::int32_t linkId);

  std::unique_ptr<ProjectDocument> document_;
  std::string path_;
  std::map<std::int32_t, Link> links_;
  bool isNew_ = false;
  bool isChanged_ = false;
  bool hasCarriageReturns_ = false;
};

/// Whether both read and write the very same thing.
bool isSameProperty(const Point& a, const Point& b);

/// `wish` as a point's name that `taken` does not hold: brackets, which would be read as an index, become round ones,
/// control characters blanks, and a name that is taken gets object and property appended, the same ones each time.
/// `point` tells the object and property, and the index that the name ends in.
std::string uniqueName(const std::string& wish, const Point& point, const std::vector<Point>& taken);

}  // namespace plant
