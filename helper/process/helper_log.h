#pragma once

#include <fmt/format.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "cbl/net/descriptor.h"

namespace helper {

/// The helper's log: one line per event, written at once; requests are events only where it traces.
class CHelperLog {
 public:
  /// Appends to the file of this name. One that has grown to 8 MiB is set aside as NAME.old first.
  /// Result: false with a one-line `error`.
  bool open(const std::string& path, std::string& error);

  /// Whether each request gets a line, written before its reply is sent. To begin with, none does.
  void setTracing(bool on) { traces_ = on; }
  bool traces() const { return traces_; }

  /// A line with the local time in front. Bytes that are not printable are written as \xNN.
  template <typename... Arguments>
  void write(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    writeLine(fmt::format(format, std::forward<Arguments>(arguments)...));
  }

 private:
  bool reopen();
  void writeLine(std::string_view text);

  std::string path_;
  cbl::CDescriptor file_;
  std::size_t size_ = 0;  // bytes
  bool traces_ = false;
};

}  // namespace helper
