#include "cbl/text/xstring.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace cbl {

namespace {

constexpr std::int32_t kRefused = -1;
constexpr std::int32_t kFailed = -127;

// The names that a conversion reports: its own, and the standard conversion it behaves like.
struct Names {
  const char* operation;
  const char* standard;
};

// Keeps the caller's errno unless the conversion set one.
class ErrnoGuard {
 public:
  ErrnoGuard() : saved_(errno) { errno = 0; }
  ~ErrnoGuard() {
    if (errno == 0) errno = saved_;
  }
  ErrnoGuard(const ErrnoGuard&) = delete;
  ErrnoGuard& operator=(const ErrnoGuard&) = delete;

 private:
  int saved_;
};

std::int32_t fail(const Names& names, const char* exception) {
  std::fprintf(stderr, "xstring::%s exception: %s %s\n", names.operation, names.standard, exception);
  return kFailed;
}

// `convert(text, &end)` is one of the strto functions; `inRange` is a further check of its result.
template <typename Out, typename Convert, typename InRange>
std::int32_t convertText(const std::string& text, const Names& names, Convert convert, InRange inRange, Out& out) {
  const char* begin = text.c_str();
  char* end = const_cast<char*>(begin);  // stays here when the function refuses the base and sets no end
  bool outOfRange = false;
  {
    const ErrnoGuard guard;
    const auto value = convert(begin, &end);
    outOfRange = errno == ERANGE || !inRange(value);
    if (end != begin && !outOfRange) {
      out = static_cast<Out>(value);
      return 0;
    }
  }
  return fail(names, end == begin ? "std::invalid_argument" : "std::out_of_range");
}

template <typename Out, typename Convert>
std::int32_t convertText(const std::string& text, const Names& names, Convert convert, Out& out) {
  return convertText(
      text, names, convert, [](auto) { return true; }, out);
}

}  // namespace

xstring::~xstring() = default;

bool xstring::isValid(std::uint32_t base) const {
  const auto consistsOf = [](const_iterator from, const_iterator to, auto isDigit) {
    return std::all_of(from, to, [&](char c) { return isDigit(static_cast<unsigned char>(c)) != 0; });
  };
  // The messages name toInt32 whichever conversion asked.
  switch (base) {
    case 2:
      if (!empty() && consistsOf(begin(), end(), [](int c) { return c == '0' || c == '1'; })) return true;
      std::fputs("xstring::toInt32 is not binary\n", stderr);
      return false;
    case 8:
      if (!empty() && consistsOf(begin(), end(), [](int c) { return c >= '0' && c <= '7'; })) return true;
      std::fputs("xstring::toInt32 is not octal\n", stderr);
      return false;
    case 10: {
      const bool hasSign = !empty() && (front() == '+' || front() == '-');
      if (!empty() && consistsOf(begin() + (hasSign ? 1 : 0), end(), [](int c) { return std::isdigit(c); }))
        return true;
      std::fputs("xstring::toInt32 is not numeric\n", stderr);
      return false;
    }
    case 16:
      if (!empty() && consistsOf(begin(), end(), [](int c) { return std::isxdigit(c); })) return true;
      std::fputs("xstring::toInt32 is not hex\n", stderr);
      return false;
    default:
      return false;
  }
}

std::int32_t xstring::toInt32(std::int32_t& out, std::uint32_t base, bool validate) const {
  if (validate && !isValid(base)) return kRefused;
  return convertText(
      *this, {"toInt32", "stoi"},
      [base](const char* text, char** end) { return std::strtol(text, end, static_cast<int>(base)); },
      [](long value) {
        return value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max();
      },
      out);
}

std::int32_t xstring::toUint32(std::uint32_t& out, std::uint32_t base, bool validate) const {
  if (validate && !isValid(base)) return kRefused;
  return convertText(
      *this, {"toUint32", "stoul"}, [](const char* text, char** end) { return std::strtoul(text, end, 10); }, out);
}

std::int32_t xstring::toInt64(std::int64_t& out, std::uint32_t base, bool validate) const {
  if (validate && !isValid(base)) return kRefused;
  return convertText(
      *this, {"toInt64", "stoll"}, [](const char* text, char** end) { return std::strtoll(text, end, 10); }, out);
}

std::int32_t xstring::toUint64(std::uint64_t& out, std::uint32_t base, bool validate) const {
  if (validate && !isValid(base)) return kRefused;
  return convertText(
      *this, {"toUint64", "stoull"}, [](const char* text, char** end) { return std::strtoull(text, end, 10); }, out);
}

std::int32_t xstring::toFloat(float& out) const {
  return convertText(*this, {"toFloat", "stof"}, std::strtof, out);
}

std::int32_t xstring::toDouble(double& out) const {
  return convertText(*this, {"toDouble", "stod"}, std::strtod, out);
}

std::int32_t xstring::toLongDouble(long double& out) const {
  return convertText(*this, {"toLongDouble", "stold"}, std::strtold, out);
}

}  // namespace cbl
