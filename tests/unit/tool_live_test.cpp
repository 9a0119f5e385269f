#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bacnet/codec/text.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "host/tool/live/point_check.h"
#include "host/tool/live/report_file.h"
#include "host/tool/live/type_fit.h"

namespace tool {
namespace {

namespace object_type = bacnet::object_type;
namespace property = bacnet::property;

plant::Point pointOf(const std::string& dataType, std::int32_t objectType = object_type::kAnalogInput,
                     std::int32_t propId = property::kPresentValue) {
  plant::Point point;
  point.name = "P";
  point.objectType = objectType;
  point.instance = 1;
  point.propId = propId;
  plant::setDataType(point, dataType);
  return point;
}

TEST(TypeFit, TellsWhatIsLostAndWhatDoesNotFit) {
  const bacnet::Value enumerated = bacnet::Enumerated{1};
  const struct {
    const char* name;
    plant::Point point;
    bacnet::Values values;
    std::int32_t code;
    const char* problem;  // a part of it; empty: none
  } rows[] = {
      {"as it should be", pointOf("REAL"), {1.5F}, 0, ""},
      {"a slot that nobody commands", pointOf("REAL"), {bacnet::Null()}, 22, ""},
      {"rounded", pointOf("UDINT"), {1.5F}, 0, "rounds"},
      {"negative", pointOf("UDINT", object_type::kIntegerValue), {std::int64_t{-1}}, 0, "negative"},
      {"a Double in a REAL", pointOf("REAL", object_type::kLargeAnalogValue), {1.5}, 0, "loses digits"},
      {"a small counter in a REAL", pointOf("REAL", object_type::kAccumulator), {std::uint64_t{7}}, 0, ""},
      {"a large counter in a REAL", pointOf("REAL", object_type::kAccumulator), {std::uint64_t{1} << 30}, 0, "loses"},
      {"a Real as BOOL", pointOf("BOOL"), {1.5F}, 0, "true for all but 0"},
      {"a state as BOOL", pointOf("BOOL", object_type::kMultiStateValue), {std::uint64_t{2}}, 0, "bit 0 of it"},
      {"a binary value as BOOL", pointOf("BOOL", object_type::kBinaryInput), {enumerated}, 0, ""},
      {"not the standard's type",
       pointOf("BOOL", object_type::kBinaryInput),
       {true},
       0,
       "standard's of type Enumerated"},
      {"a text in a REAL", pointOf("REAL"), {bacnet::characterString("warm")}, 23, "CharacterString 'warm'"},
      {"several in one register", pointOf("REAL"), {1.5F, 2.5F}, 23, "2 values"},
      {"an array as text", pointOf("STRING"), {1.5F, 2.5F}, 0, ""},
      {"too large", pointOf("UDINT"), {1e20F}, 23, "UDINT does not hold it"},
  };
  for (const auto& row : rows) {
    const TypeFit fit = fitOf(row.point, row.values);
    EXPECT_EQ(fit.code, row.code) << row.name;
    const std::string problem = fit.discrepancy ? fit.discrepancy->problem : "";
    EXPECT_EQ(problem.empty(), std::string(row.problem).empty()) << row.name << ": " << problem;
    EXPECT_NE(problem.find(row.problem), std::string::npos) << row.name << ": " << problem;
    const bool isError = fit.discrepancy && fit.discrepancy->severity == plant::Severity::kError;
    EXPECT_EQ(isError, row.code == 23) << row.name;
  }
}

bacnet::ReadOutcome error(std::uint32_t code) {
  bacnet::Failure failure;
  failure.kind = bacnet::Failure::Kind::kError;
  failure.error.errorCode = code;
  return failure;
}

// Devices name one fault by different errors; the object's identifier decides.
TEST(PointCheck, FindsOutWhatAnErrorMeans) {
  const bacnet::ObjectId object{object_type::kAnalogInput, 1};
  const bacnet::PropertyReference units{property::kUnits, {}};
  const bacnet::PropertyReference identifier{property::kObjectIdentifier, {}};
  const struct {
    std::uint32_t answered;
    bacnet::ReadOutcome identifier;
    const char* check;
  } rows[] = {
      {bacnet::error_code::kUnknownObject, bacnet::Values{object}, "object"},
      {bacnet::error_code::kUnknownProperty, bacnet::Values{object}, "property"},
      {bacnet::error_code::kUnknownProperty, error(bacnet::error_code::kUnknownObject), "object"},
      {bacnet::error_code::kUnknownProperty, error(bacnet::error_code::kUnknownProperty), "property"},
      {bacnet::error_code::kReadAccessDenied, bacnet::Values{object}, "read"},
      {bacnet::error_code::kOther, error(bacnet::error_code::kUnknownObject), "object"},
  };
  for (const auto& row : rows) {
    CPropertyAnswers answers;
    answers.put(object, units, error(row.answered));
    answers.put(object, identifier, row.identifier);
    const auto checked = checkPoint(pointOf("UDINT", object_type::kAnalogInput, property::kUnits), {}, answers);
    ASSERT_EQ(checked.discrepancies.size(), 1U);
    EXPECT_EQ(checked.discrepancies.front().check, row.check);
    EXPECT_EQ(checked.code, 1000 + static_cast<std::int32_t>(row.answered));
  }
  EXPECT_EQ(checkPoint(pointOf("UDINT"), {}, CPropertyAnswers()).code, std::nullopt);  // not answered is no finding
}

TEST(LiveReport, ComesBackFromItsTableWhateverTheDeviceSaid) {
  CheckedLink link;
  link.number = 1;
  link.points.emplace_back();
  link.points.back().point = pointOf("STRING");
  link.points.back().code = 0;
  link.points.back().value = "a \"b\",\n|c|";
  link.points.back().discrepancies.push_back({plant::Severity::kWarning, "type", "of, |it|", "-"});
  LiveReport report;
  report.time = "2026-11-22 01:30";
  add(link, report);
  std::string error;
  const auto back = parseCsv(toCsv(report), error);
  ASSERT_TRUE(back) << error;
  EXPECT_EQ(back->time, report.time);
  ASSERT_EQ(back->points.size(), 1U);
  EXPECT_EQ(back->points.front()["value"], link.points.front().value);
  EXPECT_EQ(back->findings.front()["problem"], "of, |it|");
  EXPECT_EQ(toCsv(*back), toCsv(report));
  EXPECT_NE(toMarkdown(report).find("| a \"b\", \\|c\\| |"), std::string::npos) << toMarkdown(report);
  EXPECT_FALSE(parseCsv(toCsv(report).substr(1), error));
}

}  // namespace
}  // namespace tool
