#include <fmt/chrono.h>
#include <fmt/format.h>

#include <chrono>
#include <ctime>
#include <string>

#include "host/tool/view/result_view.h"
#include "host/tool/view/text_view.h"
#include "host/tool/view/watch_view.h"

namespace tool {

namespace {

// The clock on the wall for people, the instant for programs.
std::string timeText(Format format) {
  const auto now = std::chrono::system_clock::now();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  if (format == Format::kTable) return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(seconds), ms);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(seconds), ms);
}

std::vector<Column> timedColumns(Format format, const ViewOptions& options) {
  std::vector<Column> columns = options.facts.empty() ? resultColumns() : textColumns(format);
  columns.insert(columns.begin(), {"time", "Time"});
  return columns;
}

class CLineView : public CWatchView {
 public:
  CLineView(COutput& output, Format format, const ViewOptions& options)
      : format_(format), options_(options), writer_(output, format, timedColumns(format, options)) {
    if (format != Format::kTable) options_.precision.reset();
  }

  void show(const std::vector<Result>& results, const WatchState& /*state*/) override {
    const std::string time = timeText(format_);
    if (last_.empty()) reserveColumns(results);
    last_.resize(results.size());
    for (std::size_t i = 0; i < results.size(); ++i) {
      Record record = recordOf(results[i], options_.precision);
      if (!options_.facts.empty()) addTexts(record, results[i], options_.facts[i]);
      if (options_.isOnChange && record == last_[i]) continue;
      last_[i] = record;
      Record timed;
      timed["time"] = time;
      timed.update(record);
      writer_.add(timed, results[i].isGood ? Tone::kPlain : Tone::kBad);
    }
    writer_.flush();
  }

 private:
  // A longer value in a later round would move the columns.
  void reserveColumns(const std::vector<Result>& results) {
    for (std::size_t i = 0; i < results.size(); ++i)
      writer_.fit(wideRecordOf(results[i].point(), options_.facts.empty() ? nullptr : &options_.facts[i]));
  }

  Format format_;
  ViewOptions options_;
  CRecordWriter writer_;
  std::vector<Record> last_;
};

}  // namespace

std::unique_ptr<CWatchView> makeLineView(COutput& output, Format format, const ViewOptions& options) {
  return std::make_unique<CLineView>(output, format, options);
}

}  // namespace tool
