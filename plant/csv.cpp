#include "plant/csv.h"

#include <algorithm>
#include <array>
#include <optional>

namespace plant {

namespace {

constexpr std::size_t kLookedLines = 20;   // for the separator
constexpr std::size_t kQuotedLines = 100;  // a field that spans more is a stray quote
constexpr std::string_view kBlanks = " \t\r\n\v\f";

// What no XML can hold.
bool isControl(char each) {
  return static_cast<unsigned char>(each) < ' ' && each != '\t' && each != '\r' && each != '\n';
}

class CCsvReader {
 public:
  CCsvReader(std::string_view text, char separator) : text_(text), separator_(separator) {}

  std::vector<CsvRow> read() {
    std::vector<CsvRow> rows;
    while (at_ < text_.size()) rows.push_back(readRow());
    if (!rows.empty() && rows[0].fields[0].substr(0, 4) == "sep=") rows.erase(rows.begin());  // a spreadsheet's own
    return rows;
  }

 private:
  CsvRow readRow() {
    CsvRow row;
    row.line = line_;
    do row.fields.push_back(readField());
    while (at_ < text_.size() && text_[at_] == separator_ && ++at_ <= text_.size());
    skipLineEnd();
    return row;
  }

  std::string readField() {
    std::optional<std::string> field;
    if (at_ < text_.size() && text_[at_] == '"') field = readQuoted();
    if (!field) field = readPlain();
    std::replace_if(field->begin(), field->end(), isControl, ' ');
    return *std::move(field);
  }

  std::string readPlain() {
    const std::size_t end = std::min(text_.find_first_of(std::string({separator_, '\r', '\n'}), at_), text_.size());
    std::string field(text_.substr(at_, end - at_));
    at_ = end;
    return field;
  }

  // What stands behind the closing quote still belongs to the field.
  std::optional<std::string> readQuoted() {
    std::string field;
    std::size_t lines = 0;
    for (std::size_t i = at_ + 1; i < text_.size(); ++i) {
      const bool isQuote = text_[i] == '"';
      if (isQuote && text_.substr(i + 1, 1) != "\"") {
        at_ = i + 1;
        line_ += lines;
        return field + readPlain();
      }
      field += text_[i];
      if (isQuote) ++i;
      const bool isLineEnd = text_[i] == '\n' || (text_[i] == '\r' && text_.substr(i + 1, 1) != "\n");
      if (isLineEnd && ++lines > kQuotedLines) break;
    }
    return std::nullopt;
  }

  void skipLineEnd() {
    if (at_ < text_.size() && text_[at_] == '\r') ++at_;
    if (at_ < text_.size() && text_[at_] == '\n') ++at_;
    ++line_;
  }

  std::string_view text_;
  char separator_;
  std::size_t at_ = 0;
  std::size_t line_ = 1;
};

}  // namespace

bool CsvRow::isBlank() const {
  return std::all_of(fields.begin(), fields.end(), [](const std::string& each) { return withoutBlanks(each).empty(); });
}

char separatorOf(std::string_view text) {
  constexpr std::array<char, 3> kSeparators = {';', ',', '\t'};
  std::array<std::size_t, 3> counts{};
  std::size_t lines = 0;
  bool isQuoted = false;
  for (const char each : text) {
    if (each == '"') isQuoted = !isQuoted;
    if (each == '\n') isQuoted = false;
    if (each == '\n' && ++lines == kLookedLines) break;
    for (std::size_t i = 0; i < kSeparators.size(); ++i) counts[i] += !isQuoted && each == kSeparators[i] ? 1 : 0;
  }
  return kSeparators[static_cast<std::size_t>(std::max_element(counts.begin(), counts.end()) - counts.begin())];
}

std::vector<CsvRow> readCsv(std::string_view text, char separator) {
  return CCsvReader(text, separator).read();
}

std::string csvLine(const std::vector<std::string>& fields, char separator) {
  std::string line;
  for (const std::string& field : fields) {
    if (&field != &fields.front()) line += separator;
    const bool isPlain = field.find_first_of(std::string("\"\r\n") + separator) == std::string::npos &&
                         withoutBlanks(field).size() == field.size();
    if (isPlain) {
      line += field;
      continue;
    }
    line += '"';
    for (const char each : field) line += each == '"' ? std::string("\"\"") : std::string(1, each);
    line += '"';
  }
  return line + '\n';
}

std::string_view withoutBlanks(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string columnKey(std::string_view name) {
  std::string key;
  for (const char each : name) {
    if (each >= 'A' && each <= 'Z')
      key += static_cast<char>(each - 'A' + 'a');
    else if ((each >= 'a' && each <= 'z') || (each >= '0' && each <= '9'))
      key += each;
  }
  return key;
}

}  // namespace plant
