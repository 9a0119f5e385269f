#pragma once

#include <string>
#include <string_view>

namespace tool {

/// Thrown when whoever reads the data has gone (`hmi-host ... | head`): there is nothing left to do, nor to complain
/// of.
struct ReaderGone {};

enum class Tone { kPlain, kGood, kWarning, kBad, kFaint };

/// The data stream. From its construction the process's standard output belongs to the tool's data alone: a driver
/// writes its log lines there with printf, so descriptor 1 becomes a second standard error and the data go through a
/// private copy. The copy is closed on exec, so that a helper process that the driver starts keeps no reader waiting;
/// the same goes for every other descriptor the tool was started with, and descriptor 0 becomes the null device.
/// One object per process, made before the plug-in is loaded and after standard input has been read.
class COutput {
 public:
  /// Throws CFailure (internal) when standard output is closed.
  COutput();
  ~COutput();
  COutput(const COutput&) = delete;
  COutput& operator=(const COutput&) = delete;

  /// Blocks until everything is written. Throws ReaderGone, or CFailure (internal) when the medium is full.
  void write(std::string_view text);

  bool isTerminal() const { return isTerminal_; }
  /// Columns and rows of the terminal; 80 and 24 when it does not say.
  struct Size {
    std::size_t columns;
    std::size_t rows;
  };
  Size size() const;

  /// `text` in the colour of `tone`; unchanged when the data go elsewhere or NO_COLOR is set.
  std::string paint(std::string text, Tone tone) const;

 private:
  int descriptor_;
  bool isTerminal_;
  bool hasColour_;
};

}  // namespace tool
