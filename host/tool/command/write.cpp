#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/tool/command/commanding.h"
#include "host/tool/command/commands.h"
#include "host/tool/console/error_relay.h"
#include "host/tool/console/interrupt.h"
#include "host/tool/link/batching.h"
#include "host/tool/link/project.h"
#include "host/tool/view/result_view.h"
#include "plant/value.h"

namespace tool {

namespace {

constexpr int kSmallestWord = -32768;
constexpr int kLargestWord = 65535;  // a word may be written signed or unsigned

struct WriteOptions {
  std::vector<std::string> assignments;
  bool isWords = false;
  bool isDryRun = false;
  std::optional<int> priority;  ///< written by the tool itself, not through the driver
};

plant::Words parseWords(std::string_view text, const std::string& assignment) {
  plant::Words words;
  for (;;) {
    const std::string_view piece = text.substr(0, text.find(','));
    int word = 0;
    const auto [end, failure] = std::from_chars(piece.data(), piece.data() + piece.size(), word);
    if (failure != std::errc() || end != piece.data() + piece.size() || word < kSmallestWord || word > kLargestWord)
      throw CFailure(ExitStatus::kUsage, fmt::format("{}: '{}' is no 16-bit word", assignment, piece),
                     "write words as in 4=16840,0");
    words.push_back(static_cast<short>(word));
    if (piece.size() == text.size()) return words;
    text.remove_prefix(piece.size() + 1);
  }
}

plant::Words wordsOf(const plant::Point& point, const std::string& text, const std::string& assignment,
                     const Options& options) {
  const std::int32_t bytes = registerBytes(point, options);
  plant::Value value;
  std::string error;
  if (plant::parseValue(point, text, bytes, value, error)) {
    plant::Words words;
    plant::toWords(point, value, bytes, words);
    return words;
  }
  throw CFailure(ExitStatus::kUsage, fmt::format("{}: {}", assignment, error),
                 point.type == plant::DataType::kString
                     ? "give STRING points more room with --string-bytes"
                     : fmt::format("write a value that fits its type, {}", typeText(point)));
}

// Point and value of POINT=VALUE.
std::pair<std::string, std::string> partsOf(const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos)
    throw CFailure(ExitStatus::kUsage, fmt::format("'{}' is no assignment", text), "write POINT=VALUE");
  return {text.substr(0, equals), text.substr(equals + 1)};
}

void addAssignment(std::vector<Access>& accesses, const plant::Link& link, const std::string& text,
                   const WriteOptions& own, const Options& options) {
  const auto [name, value] = partsOf(text);
  for (const plant::Point& point : findPoints(link, {name}))
    accesses.push_back(
        {point, CRegister(), own.isWords ? parseWords(value, text) : wordsOf(point, value, text, options)});
}

// A write without an answer may have been carried out, unless it was not sent at all.
std::string complaintOfWrite(const Result& result, const Options& options) {
  if (result.access.code != kNoAnswer) return complaintOf(result, options);
  return fmt::format("{} (RegId {}): {}", result.point().fullName(), result.point().regId,
                     result.access.isSent
                         ? "sent, but no answer came: whether it was written is unknown; read the point"
                         : "not sent; write it again");
}

void show(CRecordWriter& writer, const std::vector<Result>& results, const Options& options) {
  for (const Result& result : results) {
    Record record = recordOf(result);
    if (!result.access.isSent) record.erase("code");
    writer.add(record, result.isGood ? Tone::kPlain : Tone::kBad);
  }
  writer.flush();
  for (const Result& result : results) {
    if (!result.isGood) complain(complaintOfWrite(result, options));
  }
}

ExitStatus send(const Options& options, CRecordWriter& writer, std::vector<Access>& accesses) {
  const auto session = openSession(options);
  for (Access& access : accesses) access.reg = session->prepare(access.point);

  CStatistics statistics;
  const CInterruptNote note;  // what was written by then is shown
  const auto failure = failureOf([&] { CBatcher(*session, statistics).write(accesses); });
  const auto results = resultsOf(accesses, writeResult);
  show(writer, results, options);
  if (isInterrupted()) return ExitStatus::kInterrupted;
  if (failure) throw CFailure(*failure);
  return areGood(results) ? ExitStatus::kWell : ExitStatus::kPointsFailed;
}

ExitStatus writeAtPriority(const Options& options, COutput& output, const plant::Link& link, const WriteOptions& own) {
  std::vector<CommandedPoint> points;
  std::vector<std::string> values;
  for (const std::string& text : own.assignments) {
    const auto [name, value] = partsOf(text);
    for (const plant::Point& point : findPoints(link, {name})) {
      points.push_back(commandedPoint(point, own.priority));
      values.push_back(value);
    }
  }
  return changeCommands(options, output, link, points,
                        [&](CDevice& device, const bacnet::ObjectId& object, std::size_t place) {
                          return commandAt(device, object, points[place].priority, values[place]);
                        });
}

// Nothing is sent unless every value fits.
ExitStatus writePoints(const Options& options, COutput& output, const WriteOptions& own) {
  const plant::Link link = readPresentLink(options);
  if (own.priority) return writeAtPriority(options, output, link, own);
  std::vector<Access> accesses;
  for (const std::string& text : own.assignments) addAssignment(accesses, link, text, own, options);

  CRecordWriter writer(output, options.format, resultColumns());
  if (!own.isDryRun) return send(options, writer, accesses);
  show(writer, resultsOf(accesses, writeResult), options);
  return ExitStatus::kWell;
}

}  // namespace

void addWrite(CLI::App& app, Action& action) {
  CLI::App* const command = app.add_subcommand("write", "write points in the order given");
  const auto own = std::make_shared<WriteOptions>();
  command->add_option("assignment", own->assignments, "point and value of its type in the project file")
      ->type_name("POINT=VALUE")
      ->required();
  const auto words =
      command->add_flag("--words", own->isWords, "values are raw 16-bit words with commas, the high word first");
  const auto dryRun = command->add_flag("--dry-run", own->isDryRun, "show the words and send nothing");
  addPriority(*command, own->priority)->excludes(words)->excludes(dryRun);
  command->get_option("--priority")
      ->description(
          "at this one, 1 (highest) to 16 but not 6; then the tool asks the device itself, without the driver");
  setExample(*command, "hmi-host --project /opt/project write SupplyAir.TempSetpoint=21.5 SupplyFan.OutOfService=true");
  command->callback([&action, own] {
    action.run = [own](const Options& options, COutput& output) { return writePoints(options, output, *own); };
  });
}

}  // namespace tool
