#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/link/results.h"
#include "host/tool/network/point_facts.h"

namespace tool {

std::vector<Column> resultColumns();
/// With `precision`, the value of a REAL or DOUBLE is a text with so many digits behind the point.
Record recordOf(const Result& result, std::optional<int> precision = std::nullopt);

/// A good result's value as tables show it.
std::string valueText(const Result& result);

/// A record as wide as the ones of this point will be, but for rare values; `facts` may be null.
Record wideRecordOf(const plant::Point& point, const PointFacts* facts);

/// One line for the user on why the access failed.
std::string complaintOf(const Result& result, const Options& options);

/// "DataType" of the project file, null when it has none.
Record typeOf(const plant::Point& point);
/// The same within a sentence.
std::string typeText(const plant::Point& point);

/// A record per result, failures in the tone for them. `facts` are one a result, which are then shown in words, or
/// empty.
void addTo(CRecordWriter& writer, const std::vector<Result>& results, const std::vector<PointFacts>& facts);

/// One line per failure to standard error.
void complainOf(const std::vector<Result>& results, const Options& options);

}  // namespace tool
