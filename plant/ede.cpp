#include "plant/ede.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <tuple>

#include "plant/bacnet_numbers.h"
#include "plant/csv.h"
#include "plant/text_encoding.h"

namespace plant {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kNowhere = std::string::npos;

namespace column {

enum Column : std::size_t {
  kKeyname,
  kDevice,
  kObjectName,
  kObjectType,
  kInstance,
  kDescription,
  kPresentValue,
  kMinimum,
  kMaximum,
  kSettable,
  kCov,
  kHighLimit,
  kLowLimit,
  kStateTexts,
  kUnit,
  kCount
};

}  // namespace column

struct ColumnName {
  const char* key;  // as columnKey makes it
  column::Column column;
};

constexpr std::array<ColumnName, 18> kColumnNames = {{{"keyname", column::kKeyname},
                                                      {"deviceobjinstance", column::kDevice},
                                                      {"deviceobjectinstance", column::kDevice},
                                                      {"objectname", column::kObjectName},
                                                      {"objecttype", column::kObjectType},
                                                      {"objectinstance", column::kInstance},
                                                      {"description", column::kDescription},
                                                      {"presentvaluedefault", column::kPresentValue},
                                                      {"minpresentvalue", column::kMinimum},
                                                      {"maxpresentvalue", column::kMaximum},
                                                      {"settable", column::kSettable},
                                                      {"commandable", column::kSettable},
                                                      {"settablecommandable", column::kSettable},
                                                      {"supportscov", column::kCov},
                                                      {"hilimit", column::kHighLimit},
                                                      {"lowlimit", column::kLowLimit},
                                                      {"statetextreference", column::kStateTexts},
                                                      {"unitcode", column::kUnit}}};

using ColumnPositions = std::array<std::size_t, column::kCount>;

ColumnPositions usualPositions() {
  ColumnPositions positions;
  for (std::size_t i = 0; i < positions.size(); ++i) positions[i] = i;
  return positions;
}

std::string field(const CsvRow& row, std::size_t position) {
  return position < row.fields.size() ? std::string(withoutBlanks(row.fields[position])) : std::string();
}

std::optional<ColumnPositions> columnsNamedIn(const CsvRow& row) {
  ColumnPositions positions;
  positions.fill(kNowhere);
  for (std::size_t i = 0; i < row.fields.size(); ++i) {
    const std::string key = columnKey(row.fields[i]);
    const auto known =
        std::find_if(kColumnNames.begin(), kColumnNames.end(), [&](const ColumnName& each) { return each.key == key; });
    if (known != kColumnNames.end() && positions[known->column] == kNowhere) positions[known->column] = i;
  }
  if (positions[column::kObjectType] == kNowhere || positions[column::kInstance] == kNowhere) return std::nullopt;
  return positions;
}

bool isComment(const CsvRow& row) {
  return field(row, 0).substr(0, 1) == "#";
}

// PROJECT_NAME, VERSION_OF_LAYOUT and the like, before the objects.
bool isHeadLine(const CsvRow& row) {
  static const std::array<const char*, 5> kKeys = {"projectname", "versionofreferencefile", "timestampoflastchange",
                                                   "authoroflastchange", "versionoflayout"};
  const std::string key = columnKey(field(row, 0));
  return std::find(kKeys.begin(), kKeys.end(), key) != kKeys.end();
}

std::optional<std::int32_t> numberIn(const std::string& text) {
  std::int32_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number);
  if (failure != std::errc() || stop != end) return std::nullopt;
  return number;
}

bool isYes(const std::string& text) {
  const std::string key = columnKey(text);
  return key == "y" || key == "yes" || key == "true" || key == "1" || key == "x" || key == "j";
}

// The reason why `text` is not a number up to `most`; empty when it is.
std::string objection(const char* what, const std::string& text, std::int32_t most) {
  if (text.empty()) return std::string("no ") + what;
  const auto number = numberIn(text);
  if (!number) return std::string(what) + " '" + text + "' is no number";
  if (*number < 0 || *number > most) return std::string(what) + " " + text + " is out of range";
  return {};
}

// Takes the objects of a list row by row.
class CEdeReader {
 public:
  explicit CEdeReader(const EdeTexts& types) : types_(types) {}

  void add(const CsvRow& row) {
    if (row.isBlank()) return;
    if (isHeadLine(row)) {
      if (columnKey(field(row, 0)) == "projectname") list_.projectName = field(row, 1);
    } else if (const auto named = columnsNamedIn(row)) {
      positions_ = *named;
    } else if (!isComment(row)) {
      addObject(row);
    }
  }

  EdeList take() { return std::move(list_); }

 private:
  std::string text(const CsvRow& row, column::Column column) const { return field(row, positions_[column]); }

  // The object type's number, also where it stands there in words.
  std::string typeIn(const CsvRow& row) const {
    std::string type = text(row, column::kObjectType);
    const auto isNamed = [&](const auto& each) {
      return !type.empty() && !each.second.empty() && columnKey(each.second.front()) == columnKey(type);
    };
    if (numberIn(type)) return type;
    const auto named = std::find_if(types_.begin(), types_.end(), isNamed);
    return named == types_.end() ? type : std::to_string(named->first);
  }

  std::string reasonAgainst(const CsvRow& row) const {
    std::string reason = objection("object-type", typeIn(row), kLastObjectType);
    if (reason.empty()) reason = objection("object-instance", text(row, column::kInstance), kLastInstance);
    const std::string device = text(row, column::kDevice);
    if (reason.empty() && !device.empty()) reason = objection("device obj.-instance", device, kLastInstance);
    return reason;
  }

  void addObject(const CsvRow& row) {
    EdeObject object;
    object.line = row.line;
    object.keyname = text(row, column::kKeyname);
    object.objectName = text(row, column::kObjectName);
    object.description = text(row, column::kDescription);
    const std::string reason = reasonAgainst(row);
    if (!reason.empty()) {
      leaveOut(object, reason);
      return;
    }
    object.device = numberIn(text(row, column::kDevice));
    if (object.device == 0) object.device.reset();  // DeviceId 0 tells no device
    object.objectType = *numberIn(typeIn(row));
    object.instance = *numberIn(text(row, column::kInstance));
    object.isCommandable = isYes(text(row, column::kSettable));
    object.stateTexts = numberIn(text(row, column::kStateTexts));
    object.unit = numberIn(text(row, column::kUnit));
    const auto [first, isNew] =
        lines_.emplace(std::make_tuple(object.device, object.objectType, object.instance), row.line);
    if (isNew)
      list_.objects.push_back(std::move(object));
    else
      leaveOut(object, "the object of line " + std::to_string(first->second) + " once more");
  }

  void leaveOut(const EdeObject& object, const std::string& reason) {
    list_.leftOut.push_back({object.line, object.keyname.empty() ? object.objectName : object.keyname, reason});
  }

  const EdeTexts& types_;
  ColumnPositions positions_ = usualPositions();
  EdeList list_;
  std::map<std::tuple<std::optional<std::int32_t>, std::int32_t, std::int32_t>, std::size_t> lines_;
};

std::string lowerCase(std::string text) {
  for (char& each : text) each = each >= 'A' && each <= 'Z' ? static_cast<char>(each - 'A' + 'a') : each;
  return text;
}

}  // namespace

EdeList readEdeList(std::string_view bytes, const EdeTexts& types) {
  const std::string text = decoded(bytes);
  CEdeReader reader(types);
  for (const CsvRow& row : readCsv(text, separatorOf(text))) reader.add(row);
  return reader.take();
}

EdeTexts readEdeTexts(std::string_view bytes) {
  const std::string text = decoded(bytes);
  EdeTexts texts;
  for (const CsvRow& row : readCsv(text, separatorOf(text))) {
    const auto number = numberIn(field(row, 0));
    if (!number) continue;  // title, column names
    std::vector<std::string> values;
    for (std::size_t i = 1; i < row.fields.size(); ++i) values.push_back(field(row, i));
    while (!values.empty() && values.back().empty()) values.pop_back();
    texts.emplace(*number, std::move(values));
  }
  return texts;
}

std::string edeCompanion(const std::string& listPath, const std::string& ending) {
  constexpr std::string_view kListEnding = "_ede.csv";
  const fs::path path(listPath);
  const std::string list = lowerCase(path.filename().string());
  if (list.size() < kListEnding.size() || list.substr(list.size() - kListEnding.size()) != kListEnding) return {};
  const std::string wanted = list.substr(0, list.size() - kListEnding.size()) + "_" + lowerCase(ending) + ".csv";
  std::error_code unreadable;
  for (const fs::directory_entry& entry :
       fs::directory_iterator(path.has_parent_path() ? path.parent_path() : fs::path("."), unreadable)) {
    if (lowerCase(entry.path().filename().string()) == wanted) return entry.path().string();
  }
  return {};
}

}  // namespace plant
