#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <numeric>
#include <string>

#include "host/tool/view/result_view.h"
#include "host/tool/view/text_view.h"
#include "host/tool/view/trend.h"
#include "host/tool/view/watch_view.h"

namespace tool {

namespace {

using std::chrono::system_clock;

constexpr const char* kLineUp = "\x1b[{}A";
constexpr const char* kRestOfLine = "\x1b[K";
constexpr const char* kRestOfScreen = "\x1b[J";
constexpr const char* kKeys = "arrows and page keys scroll, f failures first, q ends";
constexpr std::size_t kLinesAround = 4;  // header, state, keys, and the cursor's

std::vector<Column> screenColumns(bool isInWords) {
  if (isInWords)
    return {{"regId", "RegId", true}, {"name", "Name"},     {"text", "Value", true}, {"code", "Code", true},
            {"trend", "Trend"},       {"object", "Object"}, {"property", "Property"}};
  return {{"regId", "RegId", true}, {"name", "Name"}, {"value", "Value", true}, {"code", "Code", true},
          {"trend", "Trend"},       {"type", "Type"}, {"words", "Words"}};
}

const char* wordOf(WatchState::Helper helper) {
  switch (helper) {
    case WatchState::kAnswers:
      return "answers";
    case WatchState::kSilent:
      return "does not answer";
    case WatchState::kGone:
      return "is gone, looked for each round";
  }
  return "";
}

class CScreenView : public CWatchView {
 public:
  CScreenView(COutput& output, const ViewOptions& options)
      : output_(output), precision_(options.precision), facts_(options.facts) {}

  void show(const std::vector<Result>& results, const WatchState& state) override {
    state_ = state;
    rows_.resize(results.size());
    for (std::size_t i = 0; i < results.size(); ++i) {
      Row& row = rows_[i];
      row.isGood = results[i].isGood;
      row.trend.add(row.isGood ? results[i].value : std::nullopt);
      row.record = recordOf(results[i], precision_);
      if (!facts_.empty()) addTexts(row.record, results[i], facts_[i]);
      row.record["trend"] = row.trend.text();
      table_.fit(row.record);
      if (row.isGood) lastGood_ = system_clock::now();
    }
    draw();
  }

  void tick() override { draw(); }

  void press(Key key) override {
    const std::size_t page = room(output_.size());
    switch (key) {
      case Key::kUp:
        return scrollTo(top_ - std::min<std::size_t>(top_, 1));
      case Key::kDown:
        return scrollTo(top_ + 1);
      case Key::kPageUp:
        return scrollTo(top_ - std::min(top_, page));
      case Key::kPageDown:
        return scrollTo(top_ + page);
      case Key::kHome:
        return scrollTo(0);
      case Key::kEnd:
        return scrollTo(rows_.size());
      case Key::kFailuresFirst:
        hasFailuresFirst_ = !hasFailuresFirst_;
        return scrollTo(0);
      case Key::kQuit:
        break;  // the watch's
    }
  }

  void startAfresh() override { drawn_ = 0; }

 private:
  struct Row {
    Record record;
    CTrend trend;
    bool isGood = false;
  };

  static std::size_t room(const COutput::Size& size) { return size.rows > kLinesAround ? size.rows - kLinesAround : 1; }

  void scrollTo(std::size_t top) {
    top_ = top;
    draw();
  }

  std::vector<const Row*> ordered() const {
    std::vector<const Row*> rows(rows_.size());
    std::transform(rows_.begin(), rows_.end(), rows.begin(), [](const Row& row) { return &row; });
    if (hasFailuresFirst_) std::stable_partition(rows.begin(), rows.end(), [](const Row* row) { return !row->isGood; });
    return rows;
  }

  void draw() {
    const COutput::Size size = output_.size();
    const std::size_t shown = std::min(rows_.size(), room(size));
    top_ = std::min(top_, rows_.size() - shown);
    table_.shorten("name", "code", size.columns);

    std::string text = drawn_ == 0 ? "" : '\r' + fmt::format(kLineUp, drawn_);
    drawn_ = 0;
    addLine(text, table_.header(), Tone::kFaint, size.columns);
    const std::vector<const Row*> rows = ordered();
    for (std::size_t i = top_; i < top_ + shown; ++i)
      addLine(text, table_.line(rows[i]->record), rows[i]->isGood ? Tone::kPlain : Tone::kBad, size.columns);
    addLine(text, stateText(), state_.helper == WatchState::kAnswers ? Tone::kPlain : Tone::kBad, size.columns);
    const std::string range =
        shown < rows_.size() ? fmt::format("{} to {} of {}, ", top_ + 1, top_ + shown, rows_.size()) : "";
    addLine(text, range + kKeys, Tone::kFaint, size.columns);
    output_.write(text + kRestOfScreen);
  }

  std::string stateText() const {
    const auto age = std::chrono::duration_cast<std::chrono::seconds>(system_clock::now() - lastGood_).count();
    const std::string good = lastGood_ == system_clock::time_point()
                                 ? "no good read yet"
                                 : fmt::format("last good read {:%H:%M:%S}, {} s ago",
                                               fmt::localtime(system_clock::to_time_t(lastGood_)), age);
    return fmt::format("{}; failures {} of {}; helper {}", good, state_.tally.failures, state_.tally.reads,
                       wordOf(state_.helper));
  }

  void addLine(std::string& text, const std::string& line, Tone tone, std::size_t columns) {
    text += output_.paint(cutTo(line, columns), tone) + kRestOfLine + '\n';
    ++drawn_;
  }

  COutput& output_;
  std::optional<int> precision_;
  std::vector<PointFacts> facts_;
  CTable table_{screenColumns(!facts_.empty())};
  std::vector<Row> rows_;
  WatchState state_;
  system_clock::time_point lastGood_;
  std::size_t top_ = 0;  // the first row that is shown
  bool hasFailuresFirst_ = false;
  std::size_t drawn_ = 0;  // lines above the cursor that are ours
};

}  // namespace

std::unique_ptr<CWatchView> makeScreenView(COutput& output, const ViewOptions& options) {
  return std::make_unique<CScreenView>(output, options);
}

}  // namespace tool
