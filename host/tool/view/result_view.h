#pragma once

#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/link/results.h"

namespace tool {

std::vector<Column> resultColumns();
Record recordOf(const Result& result);

/// One line for the user on why the access failed.
std::string complaintOf(const Result& result);

/// "DataType" of the project file, "-" when it has none.
std::string typeText(const plant::Point& point);

/// A record per result, failures in the tone for them.
void addTo(CRecordWriter& writer, const std::vector<Result>& results);

/// One line per failure to standard error.
void complainOf(const std::vector<Result>& results);

}  // namespace tool
