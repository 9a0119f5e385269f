#pragma once

#include <cstdint>
#include <string>
#include <utility>

namespace cbl {

/// A string with text-to-number conversions that never throw.
///
/// Every conversion reads from the start of the text, skips leading white space and ignores what follows the number.
/// Result, the same for all; `out` is written only on 0:
///      0  converted
///     -1  `validate` refused the text (a line on standard error)
///   -127  no number at the start of the text, or out of range (a line on standard error)
///
/// With `validate` the whole text must consist of digits of `base` (2, 8, 10 or 16; any other base refuses silently);
/// base 10 allows one leading sign. Only `toInt32` also converts in `base`: the other three integer conversions always
/// convert in base 10, and callers rely on it.
class xstring : public std::string {
 public:
  using std::string::string;
  xstring() = default;
  explicit xstring(std::string text) : std::string(std::move(text)) {}
  xstring(const xstring&) = default;
  xstring(xstring&&) = default;
  xstring& operator=(const xstring&) = default;
  xstring& operator=(xstring&&) = default;
  virtual ~xstring();

  std::int32_t toInt32(std::int32_t& out, std::uint32_t base = 10, bool validate = false) const;
  /// The low 32 bits of the 64-bit conversion: 4294967296 gives 0, -1 gives 4294967295.
  std::int32_t toUint32(std::uint32_t& out, std::uint32_t base = 10, bool validate = false) const;
  std::int32_t toInt64(std::int64_t& out, std::uint32_t base = 10, bool validate = false) const;
  std::int32_t toUint64(std::uint64_t& out, std::uint32_t base = 10, bool validate = false) const;
  std::int32_t toFloat(float& out) const;
  std::int32_t toDouble(double& out) const;
  std::int32_t toLongDouble(long double& out) const;

 private:
  bool isValid(std::uint32_t base) const;
};

}  // namespace cbl
