#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <regex>

#include "cbl/process/exec_command.h"
#include "cbl/process/launch_detached.h"
#include "cbl/process/process_title.h"
#include "cbl/process/run_command.h"
#include "support/poll.h"
#include "support/process_state.h"
#include "support/temp_dir.h"

namespace {

using Strings = std::vector<std::string>;
using Lines = std::list<std::string>;
using support::readFile;
using support::waitUntil;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using namespace std::string_literals;

int mainArgc = 0;
char** mainArgv = nullptr;

/// Sends standard output to a file, which other processes go on filling after the call under test has returned.
class StdoutToFile {
 public:
  explicit StdoutToFile(const std::string& path) {
    std::fflush(stdout);
    saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    dup2(file, STDOUT_FILENO);
    close(file);
  }
  ~StdoutToFile() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }
  StdoutToFile(const StdoutToFile&) = delete;
  StdoutToFile& operator=(const StdoutToFile&) = delete;

 private:
  int saved_;
};

/// What started processes report lands in the file "report" of a directory of the test's own.
class Process : public testing::Test {
 protected:
  Process() { setenv("SHELL", "/bin/sh", 1); }
  bool reported(const std::string& text) {
    return waitUntil([&] { return readFile(report) == text; });
  }
  const support::TempDir dir;
  const std::string report = dir.file("report");
};

TEST_F(Process, LaunchReportsWhyNot) {
  EXPECT_EQ(cbl::launchDetached(""), -1);
  unsetenv("SHELL");
  EXPECT_EQ(cbl::launchDetached("echo started >" + report), -2);
  EXPECT_FALSE(std::filesystem::exists(report));
}

TEST_F(Process, LaunchedProcessIsAnOrphanWithThreeDescriptors) {
  const int low = dup(STDIN_FILENO);
  const int high = fcntl(STDIN_FILENO, F_DUPFD, 900);
  const std::size_t before = support::descriptorCount();
  const std::int32_t pid = cbl::launchDetached("exec sleep 60");
  close(low);
  close(high);
  ASSERT_GT(pid, 0);
  EXPECT_EQ(support::descriptorCount(), before - 2);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "neither child nor zombie";
  EXPECT_EQ(errno, ECHILD);

  const std::string directory = "/proc/" + std::to_string(pid);
  EXPECT_TRUE(waitUntil([&] {  // while it starts, its loader opens libraries
    return readFile(directory + "/comm") == "sleep\n" && support::entriesOf((directory + "/fd").c_str()) == 3;
  }));
  EXPECT_TRUE(std::filesystem::exists(directory + "/fd/2"));
  kill(pid, SIGKILL);
}

TEST_F(Process, LaunchRunsTheCommandInTheNamedShell) {
  std::filesystem::create_symlink("/bin/sh", dir.file("own\\shell"));
  const std::pair<std::string, std::string> shells[] = {{"/bin/sh", "sh\n"}, {dir.file("own\\shell"), "shell\n"}};
  for (const auto& [path, name] : shells) {
    setenv("SHELL", path.c_str(), 1);
    EXPECT_GT(cbl::launchDetached("echo \"$0\" >" + report), 0);
    EXPECT_TRUE(reported(name)) << readFile(report);
  }
  setenv("SHELL", "/bin/sh", 1);
  EXPECT_GT(cbl::launchDetached("no_such_command 2>/dev/null; echo $? >" + report), 0);
  EXPECT_TRUE(reported("127\n"));
}

TEST_F(Process, FailedStartsSaySoOnce) {
  const std::string program = dir.write("program", "no program");
  chmod(program.c_str(), 0755);
#ifdef __SANITIZE_THREAD__
  const std::string buffered;  // its _exit flushes the streams
#else
  const std::string buffered = "printed before the fork";
#endif
  const std::string execlLine = "execl echo x error 2:No such file or directory\n";
  const std::string execveLine = "execve " + program + " error 8:Exec format error\n";
  {
    const StdoutToFile redirected(report);
    std::fputs(buffered.c_str(), stdout);
    setenv("SHELL", "/no/such/shell", 1);
    EXPECT_GT(cbl::launchDetached("echo x"), 0);
    EXPECT_TRUE(reported(execlLine));
    EXPECT_EQ(cbl::execCommand(program, {}, {}, false), 0);
    EXPECT_TRUE(reported(execlLine + execveLine));
  }
  EXPECT_EQ(readFile(report), execlLine + execveLine + buffered);
}

TEST_F(Process, LaunchIsQuickWithAnyDescriptorLimit) {
  const auto launchWithHighLimit = [&] {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit raised{1 << 20, 1 << 20};
    if (limit.rlim_max > raised.rlim_max || setrlimit(RLIMIT_NOFILE, &raised) != 0) {
      limit.rlim_cur = limit.rlim_max;
      setrlimit(RLIMIT_NOFILE, &limit);
    }
    getrlimit(RLIMIT_NOFILE, &limit);
    const std::string highest = std::to_string(fcntl(STDIN_FILENO, F_DUPFD, static_cast<int>(limit.rlim_cur - 1)));
    const auto start = std::chrono::steady_clock::now();
    const std::int32_t pid =
        cbl::launchDetached("[ -e /proc/$$/fd/" + highest + " ]; echo leaked: $((1 - $?)) >" + report);
    const bool quick = std::chrono::steady_clock::now() - start < std::chrono::seconds(5);
    std::exit(pid > 0 && quick && highest != "-1" ? 0 : 1);
  };
  EXPECT_EXIT(launchWithHighLimit(), testing::ExitedWithCode(0), "");
  EXPECT_TRUE(reported("leaked: 0\n"));
}

TEST_F(Process, RunCommandTakesTheCodeFromTheLastLine) {
  const struct {
    std::string command;
    std::int32_t result;
    Lines output;
  } cases[] = {
      {"printf 'a\\n\\nb\\n\\n\\n'; (exit 3)", 3, {"a", "b"}},
      {"echo x; echo y; true", 0, {"x", "y"}},
      {"true " + std::string(5000, 'x'), 0, {}},
      {"kill -9 $$", -2, {}},
      {"exit 3", -2, {}},
  };
  for (const auto& [command, result, expected] : cases) {
    Lines output = {"old"};
    EXPECT_EQ(cbl::runCommand(command, &output), result) << command;
    EXPECT_EQ(output, expected) << command;
  }
  CaptureStdout();
  EXPECT_EQ(cbl::runCommand("(echo x; echo y >&2; exit 5)", nullptr), 5);
  EXPECT_EQ(GetCapturedStdout(), "");
}

TEST_F(Process, CallbackSeesEveryLineUntilTheMarker) {
  const std::string marker = "@@__CMD_EXIT_CODE__@@";
  const struct {
    std::string command;
    std::int32_t result;
    Strings lines;
  } cases[] = {
      {"printf 'a\\r\\n\\nb\\n'; (exit 4)", 4, {"a", "", "b"}},
      {"printf %05000d 0; echo", 0, {std::string(4095, '0'), std::string(905, '0')}},
      {"echo a; echo " + marker + "1; echo never", 1, {"a"}},
      {"echo " + marker, 0, {marker}},
      {"echo x" + marker + "1; true " + std::string(300, 'x'), 0, {"x" + marker + "1"}},
      {"echo a; exit 1", -127, {"a"}},
  };
  for (const auto& [command, result, expected] : cases) {
    Strings lines;
    const auto callback = [&lines = lines](const char* line, std::uintptr_t userValue) {
      EXPECT_EQ(userValue, 4711U);
      lines.emplace_back(line);
    };
    EXPECT_EQ(cbl::runCommandWithCallback(command, callback, 4711), result) << command;
    EXPECT_EQ(lines, expected) << command;
  }
  EXPECT_EQ(cbl::runCommandWithCallback("true", nullptr, 0), -1);
}

TEST(CommandLine, SplitsLikeTheExpression) {
  const std::regex expression(R"re(("(.*?)")|(\S+))re");
  const std::string alphabet = "a \"\n\t";
  std::size_t combinations = 1;
  for (std::size_t length = 0; length <= 6; ++length, combinations *= alphabet.size()) {
    for (std::size_t choice = 0; choice < combinations; ++choice) {
      std::string line;
      for (std::size_t i = 0, rest = choice; i < length; ++i, rest /= alphabet.size()) {
        line += alphabet[rest % alphabet.size()];
      }
      Strings expected = {"kept"};
      for (std::sregex_iterator match(line.begin(), line.end(), expression), end; match != end; ++match) {
        expected.push_back((*match)[3].length() > 0 ? (*match)[3].str() : (*match)[2].str());
      }
      Strings tokens = {"kept"};
      const std::int32_t count = cbl::parseCmdline(line, tokens);
      ASSERT_EQ(tokens, expected) << testing::PrintToString(line);
      ASSERT_EQ(static_cast<std::size_t>(count), tokens.size() - 1);
    }
  }
  Strings tokens;
  EXPECT_EQ(cbl::parseCmdline("a \"b c\" d \"e", tokens), 4);
  EXPECT_EQ(tokens, (Strings{"a", "b c", "d", "\"e"}));
}

TEST_F(Process, ExecReportsWhyNot) {
  EXPECT_EQ(cbl::execCommand("", {}, {}, false), -1);
  EXPECT_EQ(cbl::execCommand(" \t\n", {"/bin/true"}, {}, false), -3);
  EXPECT_EQ(cbl::execCommand(dir.file("missing"), {}, {}, false), -4);
  EXPECT_EQ(cbl::execCommand(dir.write("plain", "x"), {}, {}, false), -4);
  CaptureStdout();
  EXPECT_EQ(cbl::execCommand("/bin/true\0x"s, {}, {}, false), -2);
  EXPECT_EQ(GetCapturedStdout(), "parseCmdline /bin/true error -1\n");
}

TEST_F(Process, ExecStartsADaemonWithArgumentsAndEnvironment) {
  const int leak = fcntl(STDIN_FILENO, F_DUPFD, 60);
  setenv("CBL_KEPT", "kept", 1);
  setenv("CBL_CHANGED", "old", 1);
  setenv("CBL_REMOVED", "old", 1);
  const std::string script =
      dir.write("script", "echo \"$1|$2|$#|$CBL_KEPT|$CBL_CHANGED|${CBL_REMOVED-none}|$(pwd)\" >" + report +
                              ".part\n[ -e /proc/$$/fd/" + std::to_string(leak) + " ] && echo leaked >>" + report +
                              ".part\n" + "readlink /proc/$$/fd/0 /proc/$$/fd/2 >>" + report + ".part\n" + "mv " +
                              report + ".part " + report + "\n");
  const Strings environment = {"CBL_CHANGED=new=er", "CBL_REMOVED"};
  EXPECT_EQ(cbl::execCommand("/bin/sh " + script + " \"one two\"", {"three \"four\""}, environment, true), 0);
  EXPECT_TRUE(reported("one two|three \"four\"|2|kept|new=er|none|/\n/dev/null\n/dev/null\n")) << readFile(report);
  EXPECT_EQ(getenv("CBL_CHANGED"), "old"s) << "the caller's own environment stays";

  std::filesystem::remove(report);
  const StdoutToFile redirected(report);
  EXPECT_EQ(cbl::execCommand("/bin/echo kept", {}, {}, false), 0);
  EXPECT_TRUE(reported("kept\n"));
  close(leak);
}

Strings environmentNow() {
  Strings variables;
  for (char** variable = environ; *variable != nullptr; ++variable) variables.emplace_back(*variable);
  return variables;
}

enum class Title { kShort, kLongerThanArguments, kLongerThanAll };

// For a process of its own: ends it with status 0 when argument area and environment are as they have to be.
void exitAfterTitle(Title kind) {
  const Strings before = environmentNow();
  const char* last = mainArgv[mainArgc - 1];
  const auto room = static_cast<std::size_t>(last + std::strlen(last) + 1 - mainArgv[0]);
  const std::size_t lengths[] = {1, room + 20, 4 << 20};
  const std::string title(lengths[static_cast<int>(kind)], 't');

  bool good = cbl::setProcessTitle(mainArgc, mainArgv, title) == 0 && environmentNow() == before;
  const std::string shown = mainArgv[0];
  if (kind == Title::kLongerThanAll) {
    good = good && shown.size() > room && title.compare(0, shown.size(), shown) == 0;
  } else {
    good = good && shown == title;
  }
  for (std::size_t at = title.size(); at < room; ++at) good = good && mainArgv[0][at] == '\0';
  std::exit(good && (mainArgc == 1 || mainArgv[1] == nullptr) ? 0 : 1);
}

TEST(ProcessTitle, ReplacesTheArgumentsAndKeepsTheEnvironment) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // executed anew, with arguments and environment side by side
  for (const Title kind : {Title::kShort, Title::kLongerThanArguments, Title::kLongerThanAll}) {
    EXPECT_EXIT(exitAfterTitle(kind), testing::ExitedWithCode(0), "");
  }
  EXPECT_EQ(cbl::setProcessTitle(0, mainArgv, "x"), -1);
  EXPECT_EQ(cbl::setProcessTitle(mainArgc, nullptr, "x"), -1);
  EXPECT_EQ(cbl::setProcessTitle(mainArgc, mainArgv, ""), -1);
}

}  // namespace

int main(int argc, char** argv) {
  mainArgc = argc;
  mainArgv = argv;
  std::vector<char*> arguments(argv, argv + argc + 1);  // the library takes its own out of what it is given
  testing::InitGoogleTest(&argc, arguments.data());
  return RUN_ALL_TESTS();
}
