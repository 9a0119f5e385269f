#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <regex>
#include <string>

#include "support/helper_project.h"

namespace support {

/// hmi-host as a user runs it, with the example plant in a project directory and on a link of the test's own.
class Tool {
 public:
  Tool() {
    const std::string xml = readFile(SOURCE_DIR "/examples/plant/BACnetLabel.xml");
    project.dir.write("BACnetLabel.xml",
                      std::regex_replace(xml, std::regex("LinkID=\"1\""), "LinkID=\"" + link() + "\""));
  }

  struct Run {
    int status;       ///< exit status, 128 and the number of the signal that ended it
    std::string out;  ///< standard output
    std::string err;  ///< standard error without the driver's log lines
  };

  /// Runs a line in the shell, where $TOOL stands for hmi-host with its project and $LINK for the link's number.
  Run shell(const std::string& line) const {
    setenv("TOOL", (program() + " --project " + project.dir.path().string()).c_str(), 1);
    setenv("LINK", link().c_str(), 1);
    const int status = std::system(("( " + line + " ) >" + out_ + " 2>" + err_).c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), readFile(out_),
            withoutLog(readFile(err_))};
  }
  Run run(const std::string& arguments) const { return shell("$TOOL --link $LINK " + arguments); }

  /// The command line's beginning: the tool, or the emulator with it.
  static std::string program() { return std::string(EMULATOR) + " " BIN_DIR "/hmi-host"; }
  std::string link() const { return std::to_string(project.link); }

  static std::string withoutLog(const std::string& text) {
    return std::regex_replace(text, std::regex(R"(\[[0-9:]{8}\]\[[A-Z ]{6}\].*\n|Error: .*\n)"), "");
  }

  const HelperProject project;

 private:
  const TempDir dir_;
  const std::string out_ = dir_.file("out");
  const std::string err_ = dir_.file("err");
};

}  // namespace support
