#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>

#include "support/page.h"
#include "support/tool.h"

namespace {

using support::Tool;
namespace fs = std::filesystem;
using Fall = std::function<void(const Tool&)>;

const std::string kTool = "$TOOL --interface lo --link $LINK";
// Gives what follows a network, or mounts, of its own.
const std::string kUnshare = geteuid() == 0 ? "unshare " : "unshare --map-root-user ";
const std::string kWithoutAddresses = kUnshare + "--net ";
const std::string kWithForeignDirectory =
    kUnshare + "--mount sh -c 'mount --bind $FOREIGN /tmp/velix_bacnet && exec \"$@\"' sh ";

Fall file(const std::string& name, const std::string& content) {
  return [=](const Tool& tool) {
    fs::remove(tool.project.dir.file(name));
    fs::permissions(tool.project.dir.write(name, content), fs::perms::owner_all);
  };
}

Fall fault(const std::string& rule) {
  return file("simulator.json", "[" + rule + "]");
}

void well(const Tool&) {}

// Some of them do not keep the examination from asking the link's device.
void onLoopback(const Tool& tool) {
  const std::string project = support::readFile(tool.project.dir.file("BACnetLabel.xml"));
  tool.project.dir.write("BACnetLabel.xml", support::replaced(project, "192.168.10.", "127.0.0."));
}

void removeHelper(const Tool& tool) {
  fs::remove(tool.project.dir.file("BACnet_Velix"));
}

void lockHelper(const Tool& tool) {
  fs::permissions(tool.project.dir.file("BACnet_Velix"), fs::perms::owner_read);
}

// An executable whose header names a machine that nobody has.
void swapMachine(const Tool& tool) {
  std::string helper = support::readFile("/proc/self/exe");
  helper[18] = 1;
  file("BACnet_Velix", helper)(tool);
}

// A second project directory of the link, below the first; $FOREIGN takes what is of no interest.
void provideOtherProject(const Tool& tool) {
  fs::create_directory(tool.project.dir.file("other"));
  for (const char* name : {"BACnetLabel.xml", "BACnet_Velix"})
    fs::copy_file(tool.project.dir.file(name), tool.project.dir.file(std::string("other/") + name));
  setenv("FOREIGN", "/dev/null", 1);
}

void namePidOfAnother(const Tool& tool) {
  fs::create_directories("/tmp/velix_bacnet");
  std::ofstream(tool.project.linkFile(".pid")) << getpid();
}

// $FOREIGN: a directory that belongs to another user than who starts the tool.
void provideForeignDirectory(const Tool& tool) {
  const std::string path = tool.project.dir.file("foreign");
  fs::create_directory(path);
  fs::create_directories("/tmp/velix_bacnet");
  setenv("FOREIGN", chown(path.c_str(), 12345, 12345) == 0 ? path.c_str() : "/usr/share", 1);
}

/// What is wrong, and what the doctor has to say about it.
struct Illness {
  const char* step;
  int status;
  const char* detail;
  const char* remedy;
  std::string line;
  Fall fall = well;
};

const Illness kIllnesses[] = {
    {"plug-in", 4, "/none.so: cannot open", "with --plugin", kTool + " --plugin /none.so"},
    {"ABI", 4, "has ABI version 2, not 1", "of one release", kTool + " --plugin " BIN_DIR "/libforeign_plugin.so"},
    {"project file", 3, "line 2: ", "mend the file", kTool, file("BACnetLabel.xml", "<ProjectInfo>\n<BACnet>\n")},
    {"link", 3, "the project file has no link 5", "with --link", "$TOOL --interface lo --link 5"},
    {"interface", 2, "'lo' has no IPv4 address", "--interface", kWithoutAddresses + kTool},
    {"helper file", 5, "no BACnet_Velix in /", "copy BACnet_Velix into the project directory", kTool, removeHelper},
    {"helper file", 5, "may not be executed", "chmod +x '/", kTool, lockHelper},
    {"helper file", 5, "/BACnet_Velix is empty", "built for this machine", kTool, file("BACnet_Velix", "")},
    {"helper file", 5, "/BACnet_Velix is no program", "built for this machine", kTool, file("BACnet_Velix", "BACnet")},
    {"helper file", 5, "for another kind of machine", "built for this machine", kTool, swapMachine},
    {"shell", 5, "/bin/false: it does not run commands", "set SHELL=/bin/sh", "SHELL=/bin/false " + kTool},
    {"runtime directory", 5, "/tmp/velix_bacnet belongs to user ", "run as that user", kWithForeignDirectory + kTool,
     provideForeignDirectory},
    {"pid file", 5, "which is no helper", "remove the file", kTool, namePidOfAnother},
    {"pid file", 5, " is no file", "remove it", kTool,
     [](const Tool& tool) { fs::create_directories(tool.project.linkFile(".pid")); }},
    {"helper process", 8, "for another project, /", "--take-over",
     kTool + " read 1 >$FOREIGN; $TOOL/other --interface lo --link $LINK", provideOtherProject},
    {"configuration", 5, "does not start (init -1)", "run it by hand to see why: /", kTool,
     file("BACnet_Velix", "#!/bin/sh\nexit 1\n")},
    {"configuration", 5, "does not take the project file (init -99)", "if its process still runs, end it: /", kTool,
     fault(R"({"function":"bac_load_xml","hang":true})")},
    {"connection", 6, "refused to connect with code 5", "log", kTool, fault(R"({"function":"bac_connect","code":5})")},
    {"first read", 7, "SupplyAir.Temp (RegId 1): a code that this release does not know (code 9)", "read --all", kTool,
     fault(R"({"function":"bac_read","code":9})")},
};

std::string firstWith(const std::string& part, const std::string& lines) {
  const std::size_t begin = lines.rfind('\n', lines.find(part)) + 1;
  return lines.substr(begin, lines.find('\n', begin) - begin);
}

class Doctor : public testing::TestWithParam<std::size_t> {};

TEST_P(Doctor, NamesTheFailingStepAndARemedy) {
  const Illness& illness = kIllnesses[GetParam()];
  const Tool tool;
  if (illness.line.find("unshare ") == 0 && std::system((kUnshare + "--net --mount true").c_str()) != 0)
    GTEST_SKIP() << "this machine gives nobody a network of his own";
  onLoopback(tool);
  illness.fall(tool);
  const auto run = tool.shell(illness.line + " --format json doctor");
  EXPECT_EQ(run.status, illness.status);
  const std::string step = illness.step;
  EXPECT_EQ(run.err.find("hmi-host: " + step + ": "), 0U) << run.err;
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  const std::string line = firstWith("\"status\":\"failed\"", run.out);
  EXPECT_EQ(line.find("{\"step\":\"" + step + "\","), 0U) << run.out;
  EXPECT_NE(line.find(illness.detail), std::string::npos) << line;
  EXPECT_NE(line.find(illness.remedy, line.find("\"remedy\":")), std::string::npos) << line;
}

INSTANTIATE_TEST_SUITE_P(Illnesses, Doctor, testing::Range<std::size_t>(0, std::size(kIllnesses)));

TEST(Doctor, FindsNothingWhereAllIsWell) {
  const Tool tool;
  for (const char* helper : {"none; no helper of this link runs", " lives"}) {
    const auto run = tool.run("doctor");
    EXPECT_EQ(run.status, 0) << run.out;
    EXPECT_EQ(run.err, "");
    const std::regex step(" ok  ");
    EXPECT_EQ(std::distance(std::sregex_iterator(run.out.begin(), run.out.end(), step), {}), 14) << run.out;
    EXPECT_NE(run.out.find("simulated points"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(helper), std::string::npos) << run.out;
  }
}

}  // namespace
