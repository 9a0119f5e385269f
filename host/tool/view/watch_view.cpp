#include "host/tool/view/watch_view.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>
#include <utility>

#include "host/tool/view/result_view.h"
#include "host/tool/view/trend.h"

namespace tool {

namespace {

constexpr const char* kLineUp = "\x1b[{}A";
constexpr const char* kRestOfLine = "\x1b[K";
constexpr const char* kRestOfScreen = "\x1b[J";

// The clock on the wall for people, the instant for programs.
std::string timeText(Format format) {
  const auto now = std::chrono::system_clock::now();
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  if (format == Format::kTable) return fmt::format("{:%H:%M:%S}.{:03}", fmt::localtime(seconds), ms);
  return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}Z", fmt::gmtime(seconds), ms);
}

std::vector<Column> timedColumns() {
  std::vector<Column> columns = resultColumns();
  columns.insert(columns.begin(), {"time", "Time"});
  return columns;
}

class CLineView : public CWatchView {
 public:
  CLineView(COutput& output, Format format, bool isOnChange)
      : format_(format), isOnChange_(isOnChange), writer_(output, format, timedColumns()) {}

  void show(const std::vector<Result>& results) override {
    const std::string time = timeText(format_);
    last_.resize(results.size());
    for (std::size_t i = 0; i < results.size(); ++i) {
      const Record record = recordOf(results[i]);
      if (isOnChange_ && record == last_[i]) continue;
      last_[i] = record;
      Record timed;
      timed["time"] = time;
      timed.update(record);
      writer_.add(timed, results[i].isGood ? Tone::kPlain : Tone::kBad);
    }
    writer_.flush();
  }

 private:
  Format format_;
  bool isOnChange_;
  CRecordWriter writer_;
  std::vector<Record> last_;
};

std::vector<Column> screenColumns() {
  return {{"regId", "RegId", true}, {"name", "Name"},       {"value", "Value", true}, {"trend", "Trend"},
          {"type", "Type"},         {"code", "Code", true}, {"words", "Words"}};
}

class CScreenView : public CWatchView {
 public:
  explicit CScreenView(COutput& output) : output_(output) {}

  void show(const std::vector<Result>& results) override {
    trends_.resize(results.size());
    std::vector<Record> records;
    for (std::size_t i = 0; i < results.size(); ++i) {
      trends_[i].add(results[i].isGood ? results[i].value : std::nullopt);
      records.push_back(recordOf(results[i]));
      records.back()["trend"] = trends_[i].text();
      table_.fit(records.back());
    }

    const COutput::Size size = output_.size();
    // A line for the header, one for the points left out, and one for the cursor.
    const std::size_t room = size.rows > 4 ? size.rows - 3 : 1;
    const std::size_t shown = std::min(records.size(), room);
    std::string text = drawn_ == 0 ? "" : '\r' + fmt::format(kLineUp, drawn_);
    drawn_ = 0;
    draw(text, table_.header(), Tone::kFaint, size.columns);
    for (std::size_t i = 0; i < shown; ++i)
      draw(text, table_.line(records[i]), results[i].isGood ? Tone::kPlain : Tone::kBad, size.columns);
    if (shown < records.size())
      draw(text, fmt::format("... and {} more", records.size() - shown), Tone::kFaint, size.columns);
    output_.write(text + kRestOfScreen);
  }

  void startAfresh() override { drawn_ = 0; }

 private:
  void draw(std::string& text, const std::string& line, Tone tone, std::size_t columns) {
    text += output_.paint(cutTo(line, columns), tone) + kRestOfLine + '\n';
    ++drawn_;
  }

  COutput& output_;
  CTable table_{screenColumns()};
  std::vector<CTrend> trends_;
  std::size_t drawn_ = 0;  // lines above the cursor that are ours
};

}  // namespace

std::unique_ptr<CWatchView> makeLineView(COutput& output, Format format, bool isOnChange) {
  return std::make_unique<CLineView>(output, format, isOnChange);
}

std::unique_ptr<CWatchView> makeScreenView(COutput& output) {
  return std::make_unique<CScreenView>(output);
}

}  // namespace tool
