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

/// Every link of the project file. Throws CFailure (project) when the file is missing or broken.
std::vector<plant::Link> readLinks(const Options& options);

/// Throws CFailure (project) when the project file has no such link.
void requirePresent(const plant::Link& link, const Options& options);

/// Both of the above.
plant::Link readPresentLink(const Options& options);

/// Whether the point's name or RegId is one that `pattern` stands for: * is any text, ? any character, upper and lower
/// case are alike.
bool matches(const std::string& pattern, const plant::Point& point);

/// The points that a user names, in that order, one named twice only once: each text is a RegId, a full name, or a
/// pattern. Throws CFailure (usage) when one stands for no point, or when several points have the name.
std::vector<plant::Point> findPoints(const plant::Link& link, const std::vector<std::string>& texts);

/// Length in bytes of the register for `point`.
std::int32_t registerBytes(const plant::Point& point, const Options& options);

}  // namespace tool
