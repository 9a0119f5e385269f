#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/tool/options.h"
#include "plant/project.h"

namespace tool {

std::string projectFile(const Options& options);

/// Reads the link's part of the project file. Throws CFailure (project) when the file is missing or broken.
plant::Link readLink(const Options& options);

/// Throws CFailure (project) when the project file has no such link.
void requirePresent(const plant::Link& link);

/// Both of the above.
plant::Link readPresentLink(const Options& options);

/// The point that a user means by `text`: a RegId or a full name. Throws CFailure (usage) when there is none, or more
/// than one.
const plant::Point& findPoint(const plant::Link& link, const std::string& text);

/// The points that a user names, in that order, one named twice only once. Throws as findPoint.
std::vector<plant::Point> findPoints(const plant::Link& link, const std::vector<std::string>& texts);

/// Length in bytes of the register for `point`.
std::int32_t registerBytes(const plant::Point& point, const Options& options);

}  // namespace tool
