#pragma once

#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/link/results.h"
#include "host/tool/network/point_facts.h"

namespace tool {

/// The object and the property of a point as the standard calls them, by their numbers where it does not:
/// "analog-input,1", "priority-array[8]".
std::string objectText(const plant::Point& point);
std::string propertyText(const plant::Point& point);

/// The columns of results in words: a table has the words in the place of the numbers.
std::vector<Column> textColumns(Format format);

/// Adds `object`, `property`, `unit` and `text` to the record of a result: the words for its value, or the number as it
/// stands there with its unit. A failed one has no text.
void addTexts(Record& record, const Result& result, const PointFacts& facts);

/// The longest text that a value of that width can have.
std::string widestText(const PointFacts& facts, std::size_t valueWidth);

}  // namespace tool
