#pragma once

#include <cstdint>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "plant/project.h"

namespace plant {

// The project file as XML nodes; for the sources of this folder only.

/// A parsed project file, and where its elements stand in it.
struct ProjectDocument {
  pugi::xml_document xml;
  std::vector<std::ptrdiff_t> lineEnds;  ///< offsets of the line ends in the text that was parsed

  pugi::xml_node projectInfo() const { return xml.child("ProjectInfo"); }
  /// The line, from 1, on which `element` stands; 0 for one that came from no file.
  std::size_t lineOf(const pugi::xml_node& element) const { return lineAt(element.offset_debug()); }
  std::size_t lineAt(std::ptrdiff_t offset) const;
};

/// Parses the file with pugixml's options `parseOptions`. Result and `error` as `readProject`.
std::int32_t loadDocument(const std::string& path, unsigned parseOptions, ProjectDocument& document,
                          std::string& error);

Point readPoint(const pugi::xml_node& symbol);
void readParameters(const pugi::xml_node& bacnet, Link& link);
std::int32_t linkIdOf(const pugi::xml_node& element);

}  // namespace plant
