#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/tool/console/records.h"
#include "host/tool/link/batching.h"
#include "plant/value.h"

namespace tool {

/// What came of one access, as the user sees it.
struct Result {
  const plant::Point& point;
  const Access& access;
  std::optional<plant::Value> value;  ///< absent when the access failed, or the words are none of the point's type
  bool isGood;
};

/// A read whose words are none of the point's type has failed, although its code is 0.
Result readResult(const plant::Point& point, const Access& access);
Result writeResult(const plant::Point& point, const Access& access);

std::vector<Column> resultColumns();
Record recordOf(const Result& result);

/// One line for the user on why the access failed.
std::string complaintOf(const Result& result);

/// "DataType" of the project file, "-" when it has none.
std::string typeText(const plant::Point& point);

/// One result per point; both vectors are of one length and outlive the results.
std::vector<Result> resultsOf(const std::vector<plant::Point>& points, const std::vector<Access>& accesses,
                              Result (*resultOf)(const plant::Point&, const Access&));

bool areGood(const std::vector<Result>& results);
void addTo(CRecordWriter& writer, const std::vector<Result>& results);
/// How many points were read, and how many of them in vain.
struct Tally {
  std::size_t reads = 0;
  std::size_t failures = 0;

  void add(const std::vector<Result>& results);
};

/// One line per failure to standard error.
void complainOf(const std::vector<Result>& results);

}  // namespace tool
