#include <gtest/gtest.h>

#include "support/page.h"
#include "support/terminal.h"
#include "support/tool.h"

namespace {

using support::Example;
using support::examplesOf;
using support::replaced;
using support::shapeOf;
using support::Tool;

constexpr const char* kShown = "hmi-host --project /opt/plant";

TEST(HmiHost, PrintsWhatItsPageShows) {
  const Tool tool;
  ASSERT_EQ(tool.run("write 8=false Unit.ModeText=Heating").status, 0);
  tool.project.dir.write("simulator.json", R"([{"function":"*","regId":2,"code":20}])");
  std::filesystem::create_directory(tool.project.dir.file("other"));
  tool.project.dir.write("other/BACnetLabel.xml", support::readFile(tool.project.dir.file("BACnetLabel.xml")));
  std::filesystem::copy_file(SOURCE_DIR "/examples/mistakes/BACnetLabel.xml", tool.project.dir.file("mistakes.xml"));
  std::filesystem::copy(SOURCE_DIR "/examples/ede", tool.project.dir.path());
  const auto examples = examplesOf(support::readFile(SOURCE_DIR "/docs/hmi-host.md"));
  ASSERT_GT(examples.size(), 12U);
  int status = -1;
  for (const Example& example : examples) {
    if (example.command == "echo $?") {
      EXPECT_EQ(std::to_string(status) + "\n", example.output);
      continue;
    }
    if (example.command.find("doctor | tail") != std::string::npos) continue;  // of a device: doctor_device_test
    if (example.command.find("doctor") != std::string::npos) {                 // shown with the helper missing
      ASSERT_TRUE(tool.project.signalHelper(SIGTERM));
      ASSERT_TRUE(support::waitUntil([&] { return !std::filesystem::exists(tool.project.linkFile(".sock")); }));
      std::filesystem::remove(tool.project.dir.file("BACnet_Velix"));
    }
    std::string command = replaced(example.command, "hmi-host --project /opt/other", "$TOOL/other --link $LINK");
    command = replaced(command, kShown, "$TOOL --link $LINK");
    const auto run = tool.shell(replaced(command, "/opt/plant", tool.project.dir.path()) + " 2>&1");
    std::string output = replaced(run.out, tool.project.dir.path(), "/opt/plant");
    output = replaced(Tool::withoutLog(output), BIN_DIR "/", "/usr/lib/hmi-drivers/");
    EXPECT_EQ(shapeOf(output), shapeOf(example.output)) << example.command;
    status = run.status;
  }
}

struct Case {
  std::string line;  // after the tool's name, project and link
  int status;
  std::string said;  // somewhere on standard error
};

TEST(HmiHost, WhatIsWrongIsSaidInALineAndHasItsStatus) {
  const Tool tool;
  const std::string dir = tool.project.dir.project();
  std::filesystem::create_directory(dir + "broken");
  tool.project.dir.write("broken/BACnetLabel.xml", "<ProjectInfo>\n<BACnet>\n</ProjectInfo>\n");
  const Case cases[] = {
      {"raed 1", 2, "there is no command 'raed'"},
      {"read --raed 1", 2, "--raed"},
      {"--format yaml read 1", 2, "yaml"},
      {"read", 2, "no point is named; name points, or take --all"},
      {"read Tmep", 2, "has no point 'Tmep'; 'hmi-host points' lists them"},
      {"read --all 4", 2, "point excludes --all"},
      {"points nothing", 2, "matches 'nothing'"},
      {"bench 4 --seconds nan", 2, "nan is no number from 0.01 to 86400"},
      {"--string-bytes 0xa read 1", 2, "0xa is no decimal number"},
      {"read -f /none", 2, "cannot read /none: No such file or directory"},
      {"write 4", 2, "'4' is no assignment; write POINT=VALUE"},
      {"write 4=abc", 2, "4=abc: 'abc' is not a number; write a value that fits its type, REAL"},
      {"write 4=1e99", 2, "4=1e99: 1e99 is out of range"},
      {"write 4=20 8=7", 2, "8=7: '7' is not true, false, 1 or 0"},
      {"write SupplyFan.Command=7", 2, "'7' is not true, false, 1 or 0"},
      {"write 10=1.5", 2, "10=1.5: 1.5 is no whole number; write a value that fits its type, UDINT"},
      {"--raed points", 2, "--raed"},
      {"write 10=-1", 2, "10=-1: -1 is out of range"},
      {"write Unit.ModeText=" + std::string(33, 'x'), 2, "the text has 33 bytes, there is room for 32"},
      {"write --words 4=1,65536", 2, "'65536' is no 16-bit word"},
      {"--interface no_such_if read 1", 2, "there is no network interface 'no_such_if'"},
      {"points >/dev/full", 1, "cannot write the output: No space left on device"},
      {"points >&-", 1, "standard output is closed"},
      {"import /none", 2, "/none: No such file or directory"},
      {"import " SOURCE_DIR "/LICENSE", 2,
       "no line of " SOURCE_DIR "/LICENSE becomes a point (line 1: no object-type)"},
      {"export " SOURCE_DIR "/LICENSE", 2, "there is such a file already; name another one, or take --force"},
      {"--plugin /none.so read 1", 4, "/none.so: cannot open shared object file"},
      {"--plugin " BIN_DIR "/libhmi_host.so info", 4, "lacks the entry points of a driver plug-in"},
      {"--plugin " BIN_DIR "/libforeign_plugin.so info", 4, "has ABI version 2, not 1"},
  };
  for (const Case& example : cases) {
    const auto run = tool.run(example.line);
    EXPECT_EQ(run.status, example.status) << example.line;
    EXPECT_NE(run.err.find(example.said), std::string::npos) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    EXPECT_EQ(run.out, "") << example.line;
  }
  const Case projects[] = {
      {"points", 2, "no project directory is named; name the one with BACnetLabel.xml: --project DIR"},
      {"--project /none points", 3, "there is no project directory '/none'"},
      {"--project /usr points", 3, "/usr/BACnetLabel.xml: No such file or directory"},
      {"--project " + dir + "broken read 1", 3, "BACnetLabel.xml: line 3: "},
      {"--project " + dir + " --link 5 read 1", 3,
       "the project file has no link 5; name one of its links with --link: 2, "},
  };
  for (const Case& example : projects) {
    const auto run = tool.shell("${TOOL% --project*} " + example.line);
    EXPECT_EQ(run.status, example.status) << example.line;
    EXPECT_NE(run.err.find(example.said), std::string::npos) << run.err;
  }
  EXPECT_EQ(tool.project.helperPid(), 0) << "nothing of this needs a helper";
}

TEST(HmiHost, EachCommandsHelpHasAnExample) {
  const Tool tool;
  for (const char* command :
       {"", "info", "links", "points", "read", "write", "watch", "bench", "doctor", "check", "import", "export"}) {
    const auto run = tool.shell(std::string("$TOOL ") + command + " --help");
    EXPECT_EQ(run.status, 0) << command;
    EXPECT_NE(run.out.find(std::string("Example:\n  hmi-host --project ")), std::string::npos) << run.out;
    EXPECT_NE(run.out.find(command), std::string::npos);
  }
}

TEST(HmiHost, TheHelpersFaultsHaveTheirStatus) {
  const struct {
    std::string rule;
    Case run;
  } cases[] = {
      {R"({"function":"bac_load_xml","code":4})",
       {"read 1", 6, "refused the project file with code 4: project file refused; mend it"}},
      {R"({"function":"bac_load_xml","silence":true})", {"read 1", 5, "does not take the project file (init -99)"}},
      {R"({"function":"bac_connect","code":5})", {"read 1", 6, "refused to connect with code 5: unknown RegId; "}},
      {R"({"function":"bac_connect","close":true})", {"info", 5, "does not answer (connect -1)"}},
      {R"({"function":"*","regId":3,"value":"x"})",
       {"read 1 3 4", 7, "OutdoorAir.Temp (RegId 3): the helper answered with text"}},
      {R"({"function":"bac_read","value":"1"})",
       {"read 1", 7, "SupplyAir.Temp (RegId 1): value not readable as REAL: words 1"}},
      {R"({"function":"bac_read","times":1,"close":true})", {"read 1", 0, ""}},
      {R"({"function":"bac_read","after":1,"times":1,"half":true})",
       {"watch 1 --interval 10 --count 3", 0, "reads 3, failures 0"}},
      {R"({"function":"bac_read","times":1,"code":7})", {"read 1", 0, ""}},
      {R"({"function":"bac_read","code":3})", {"read 1", 7, "no project loaded (code 3); connect once more"}},
      {R"({"function":"bac_read","close":true})",
       {"read 1", 7, "no answer from the helper (code -1); look at the end"}},
      {R"({"function":"bac_write","code":1040})",
       {"write 4=20", 7,
        "SupplyAir.TempSetpoint (RegId 4): the device answers error write-access-denied (code 1040); "}},
      {R"({"function":"bac_write","close":true})",
       {"write 4=20", 7, "whether it was written is unknown; read the point"}},
      {R"({"function":"bac_multi_write","code":9})", {"write 1=20 4=20", 0, ""}},
  };
  for (const auto& [rule, expected] : cases) {
    const Tool tool;
    tool.project.dir.write("simulator.json", "[" + rule + "]");
    const auto run = tool.run(expected.line);
    EXPECT_EQ(run.status, expected.status) << rule;
    EXPECT_NE(run.err.find(expected.said), std::string::npos) << rule << run.err;
    EXPECT_EQ(run.err.empty(), expected.said.empty()) << run.err;
  }
}

TEST(HmiHost, ALinkThatServesAnotherProjectIsLeftAlone) {
  const Tool tool;
  const std::string other = tool.project.dir.file("other");
  std::filesystem::create_directories(other + "/Devlib/arm");
  tool.project.dir.write("other/BACnetLabel.xml", support::readFile(tool.project.dir.file("BACnetLabel.xml")));
  std::filesystem::remove(tool.project.dir.file("BACnet_Velix"));
  support::installHelper(other + "/Devlib/arm/");
  const std::string toolOfOther = "${TOOL% --project*} --project " + other + " --link $LINK ";
  ASSERT_EQ(tool.shell(toolOfOther + "read 1").status, 0);
  for (const char* command : {"info", "read 1", "write 4=20", "watch 1 --count 1", "bench 1 --seconds 0.01"}) {
    const auto run = tool.run(command);
    EXPECT_EQ(run.status, 8) << run.err;
    EXPECT_NE(run.err.find(" for another project, " + other + "; "), std::string::npos) << run.err;
  }
  EXPECT_EQ(tool.project.calls("bac_load_xml"), 1U);
  EXPECT_EQ(tool.shell(toolOfOther + "read 1").status, 0) << "below its Devlib a helper is a project's own";
  EXPECT_EQ(tool.run("--take-over read 1").status, 0);
  EXPECT_EQ(tool.project.calls("bac_load_xml"), 3U);
}

TEST(HmiHost, AHelperThatOutlivesItKeepsNoPipeOpen) {
  EXPECT_EQ(Tool().shell("timeout 30 sh -c \"$TOOL --link $LINK read 1 2>&1 | cat\"").status, 0);
}

TEST(HmiHost, PointNamesAreCompletedAndNotExecuted) {
  const Tool tool;
  const std::string trace = tool.project.dir.file("executed");
  tool.project.writeProject(support::symbolXml(1, "Supply Air", "REAL") +
                            support::symbolXml(2, "Sub$(touch " + trace + ")[3]", "REAL"));
  const std::string hmiHost = tool.project.dir.write("hmi-host", "#!/bin/sh\nexec " + tool.program() + " \"$@\"\n");
  std::filesystem::permissions(hmiHost, std::filesystem::perms::owner_all);
  const auto completed = [&](const std::string& words) {
    const std::string line = hmiHost + " --project " + tool.project.dir.path().string() + " --link " + words;
    return tool
        .shell("bash -c 'source " SOURCE_DIR "/host/hmi-host.bash-completion; COMP_WORDS=(" + line +
               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _hmi_host; printf \"%s\\n\" \"${COMPREPLY[@]}\"'")
        .out;
  };
  EXPECT_EQ(completed(tool.link() + " read Su"), "Supply\\ Air\nSub\\$\\(touch\\ " + trace + "\\)\\[3\\]\n");
  EXPECT_EQ(completed(tool.link().substr(0, 2)), tool.link() + "\n");
  EXPECT_FALSE(std::filesystem::exists(trace));
}

TEST(HmiHost, ABadPointOfABatchCostsOnlyItself) {
  const Tool tool;
  tool.project.dir.write("simulator.json", R"([{"function":"*","regId":2,"code":12}])");
  const auto run = tool.shell("printf '1 # supply\\n\\n 2\\n3\\n1' | $TOOL --link $LINK --format csv read -f -");
  EXPECT_EQ(run.status, 7);
  EXPECT_TRUE(std::regex_match(run.out, std::regex("regId,name,code,value,type,words\n1,SupplyAir.Temp,0,[0-9.]+,REAL,"
                                                   "[0-9 -]+\n2,ReturnAir.Temp,12,,REAL,\n3,OutdoorAir.Temp,0,.*\n")))
      << run.out;
  EXPECT_EQ(run.err.find("hmi-host: ReturnAir.Temp (RegId 2): a code that this release does not know (code 12); "), 0U);
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
  EXPECT_EQ(tool.project.calls("bac_multi_read"), 1U);
  EXPECT_EQ(tool.project.calls("bac_read"), 3U);
  EXPECT_NE(tool.run("--format json write 3=23.961449").out.find("\"value\":23.961449,"), std::string::npos);
}

TEST(HmiHost, APointThatFailsInABatchIsReadAlone) {
  const struct {
    std::string rules;
    std::string codes;  // of the points 1, 2 and 3
    int status;
    std::size_t calls;  // of func@bac_read
  } cases[] = {
      {R"({"function":"bac_multi_read","regId":2,"value":""},{"function":"bac_read","regId":2,"code":20})", "0 20 0", 7,
       1},
      {R"({"function":"bac_multi_read","close":true})", "0 0 0", 0, 3},
      {R"({"function":"bac_multi_read","close":true},{"function":"bac_read","regId":2,"close":true})", "0 -1 0", 7, 3},
      {R"({"function":"*","regId":1,"close":true},{"function":"*","regId":2,"close":true})", "-1 -1 -1", 7, 2},
  };
  for (const auto& each : cases) {
    const Tool tool;
    tool.project.dir.write("simulator.json", "[" + each.rules + "]");
    const auto run = tool.run("--format csv read 1 2 3");
    EXPECT_EQ(run.status, each.status) << each.rules;
    const std::string codes = std::regex_replace(run.out, std::regex("[0-9]+,[^,]*,([-0-9]*),.*\n|.*\n"), "$1 ");
    EXPECT_EQ(codes, " " + each.codes + " ") << each.rules;
    EXPECT_EQ(tool.project.calls("bac_read"), each.calls) << each.rules;
  }
}

TEST(HmiHost, AnInterruptedWriteTellsWhatWasSent) {
  const Tool tool;
  tool.project.dir.write("simulator.json", R"([{"function":"bac_write","regId":4,"silence":true}])");
  const auto run =
      tool.shell("$TOOL --link $LINK --format csv write 1=18 4=20 10=7 & until grep -qs 'bac_write.*silence' " +
                 tool.project.linkFile(".log") + "; do sleep 0.02; done; kill -INT $!; wait $!");
  EXPECT_EQ(run.status, 130);
  EXPECT_NE(run.out.find("\n1,SupplyAir.Temp,0,18"), std::string::npos) << run.out;
  EXPECT_NE(run.out.find("\n4,SupplyAir.TempSetpoint,-1,,REAL,\n10,SupplyFan.Hours,,,"), std::string::npos) << run.out;
  EXPECT_TRUE(
      std::regex_match(run.err, std::regex(".*TempSetpoint .*sent, but .* unknown.*\n.*Hours .*: not sent.*\n")))
      << run.err;
}

TEST(HmiHost, PatternsStandForPointsAndForeignBytesAreShownAsSuch) {
  const Tool tool;
  tool.project.dir.write(
      "simulator.json",
      R"([{"function":"*","regId":17,"value":"6977,-1,-15552,-8192,-15679"}])");  // ESC A ff ff c3 40 e0 00 ...
  const auto run =
      tool.shell("printf '\\357\\273\\277Temp[*]\\nunit.mode?ext\\n' | $TOOL --link $LINK --format csv read -f -");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 5) << run.out;
  EXPECT_NE(run.out.find("Unit.ModeText,0,\\x1bA\\xff\\xff\\xc3@\\xe0,STRING"), std::string::npos) << run.out;
  EXPECT_NE(tool.run("write 'Temp[?]=20' --dry-run").out.find("Temp[3]"), std::string::npos);
}

// Requests and replies of this length travel compressed.
TEST(HmiHost, AHundredPointsTakeTenCalls) {
  const Tool tool;
  const std::string text(250, 'x');
  std::string symbols;
  std::string assignments;
  for (int regId = 1; regId <= 100; ++regId) {
    symbols += support::symbolXml(regId, "P" + std::to_string(regId), "STRING");
    assignments += " P" + std::to_string(regId) + "=" + text;
  }
  tool.project.writeProject(symbols);
  EXPECT_EQ(tool.run("--string-bytes 256 write" + assignments).status, 0);
  EXPECT_EQ(tool.project.calls("bac_multi_write") + tool.project.calls("bac_write"), 10U);
  const auto run = tool.run("--string-bytes 256 --format json read --all");
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(replaced(run.out, text, "").size() + 100 * text.size(), run.out.size());
  EXPECT_EQ(tool.project.calls("bac_multi_read") + tool.project.calls("bac_read"), 10U);
}

TEST(HmiHost, AnInterruptedWatchShowsItsStatistics) {
  const Tool tool;
  for (const char* signal : {"INT", "TERM"}) {
    const std::string lines = tool.project.dir.file(signal);
    const auto run = tool.shell("$TOOL --link $LINK watch 1 --interval 5 >" + lines + " & until grep -qs SupplyAir " +
                                lines + "; do sleep 0.02; done; kill -s " + signal + " $!; wait $!");
    EXPECT_EQ(run.status, 130);
    EXPECT_TRUE(std::regex_match(
        run.err, std::regex("reads [1-9][0-9]*, failures 0, calls [1-9].*: min .* ms, median .* ms, p99 .* ms\n")))
        << run.err;
  }
}

TEST(HmiHost, AWatchOutlivesItsHelper) {
  const Tool tool;
  const std::string lines = tool.project.dir.file("lines");
  const std::string helper = tool.project.dir.file("BACnet_Velix");
  const auto until = [&](const std::string& code) {
    return "until tail -n 1 " + lines + " | grep -qs 'SupplyAir.Temp," + code + ",'; do sleep 0.02; done; ";
  };
  const auto run =
      tool.shell("$TOOL --link $LINK --format csv watch 1 --interval 20 >" + lines + " & " + until("0") + "mv " +
                 helper + " " + helper + ".away; kill -KILL $(cat " + tool.project.linkFile(".pid") + "); " +
                 until("-1") + "mv " + helper + ".away " + helper + "; " + until("0") + "kill -INT $!; wait $!");
  EXPECT_EQ(run.status, 130) << run.err;
}

// Eight rows have room for four points.
TEST(HmiHost, ATerminalGetsOneTableThatKeysScroll) {
  const Tool tool;
  ASSERT_EQ(tool.run("write 4=20.125").status, 0);
  tool.project.dir.write("simulator.json", R"([{"function":"*","regId":6,"code":20}])");
  support::Terminal terminal(tool.program() + " --project " + tool.project.dir.path().string() + " --link " +
                                 tool.link() + " watch 1 2 3 4 5 6 --interval 100 --precision 1; stty -a",
                             8, 70);
  EXPECT_TRUE(terminal.shows("\x1b[7A")) << "drawn over itself: " << terminal.shown();
  EXPECT_TRUE(terminal.shows("1 to 4 of 6, arrows")) << terminal.shown();
  EXPECT_TRUE(terminal.shows("SupplyAir.TempSetpoint   20.1 ")) << terminal.shown();
  EXPECT_TRUE(terminal.shows("s ago; failures ")) << terminal.shown();
  EXPECT_TRUE(terminal.shows("▁█")) << "a trend: " << terminal.shown();
  EXPECT_TRUE(terminal.shows("\x1b[2m")) << "in colours: " << terminal.shown();
  const std::pair<const char*, const char*> keys[] = {{"\x1b[B", "2 to 5 of 6"},
                                                      {" ", "3 to 6 of 6"},
                                                      {"\x1b[A", "2 to 5 of 6"},
                                                      {"g", "1 to 4 of 6"},
                                                      {"\x1b[F", "3 to 6 of 6"}};
  for (const auto& [key, shown] : keys) {
    ASSERT_TRUE(terminal.press(key));
    EXPECT_TRUE(terminal.shows(shown)) << terminal.shown();
  }
  terminal.press("f");
  EXPECT_TRUE(terminal.shows("\x1b[31m    6  ")) << "failures are first: " << terminal.shown();
  terminal.press("q");
  EXPECT_TRUE(terminal.shows(" icanon ")) << "the terminal is as before: " << terminal.shown();
  EXPECT_TRUE(terminal.shows(" echo ")) << terminal.shown();
  EXPECT_EQ(terminal.status(), 0);
}

TEST(HmiHost, ATerminalIsToldWhenItsHelperHasGone) {
  const Tool tool;
  support::Terminal terminal("exec env NO_COLOR=1 " + tool.program() + " --project " +
                                 tool.project.dir.path().string() + " --link " + tool.link() + " watch 1 --interval 50",
                             24, 100);
  EXPECT_TRUE(terminal.shows("helper answers")) << terminal.shown();
  std::filesystem::remove(tool.project.dir.file("BACnet_Velix"));
  tool.project.killHelper();
  terminal.press("");
  EXPECT_TRUE(terminal.shows("helper is gone, looked for each round")) << terminal.shown();
  EXPECT_EQ(terminal.shown().find("\x1b[2m"), std::string::npos);
  terminal.press("\x03");
  EXPECT_EQ(terminal.status(), 130);
}

}  // namespace
