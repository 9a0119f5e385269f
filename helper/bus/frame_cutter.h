#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace helper {

/// Cuts whole frames out of a stream of bytes, however these come in. Knows no socket and looks at no more than a
/// frame's magic, version and body length; the layout is written down in docs/bus-protocol.md.
class CFrameCutter {
 public:
  enum class Cut {
    kFrame,    ///< a frame was cut
    kMore,     ///< no whole frame yet
    kRefused,  ///< another version or a body length beyond the longest of a request: the stream cannot be used any more
  };

  void append(const char* data, std::size_t length);

  /// Skips bytes that do not begin a frame and cuts the next one. `cut` is valid until the next `append`.
  Cut next(std::string_view& cut);

 private:
  std::string bytes_;
  std::size_t start_ = 0;  // what lies before it has been cut or skipped
};

}  // namespace helper
