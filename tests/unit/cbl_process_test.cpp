#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>

#include "cbl/process/close_descriptors.h"
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
using namespace testing::internal;
using namespace std::string_literals;

/// Sends standard output to a file, which other processes go on filling after the call under test has returned.
class StdoutToFile {
 public:
  explicit StdoutToFile(const std::string& path) : saved_(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3)) {
    redirect(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  }
  ~StdoutToFile() { redirect(saved_); }

 private:
  static void redirect(int descriptor) {
    std::fflush(stdout);
    dup2(descriptor, STDOUT_FILENO);
    close(descriptor);
  }
  const int saved_;
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

TEST_F(Process, LaunchedProcessIsAnOrphanWithThreeDescriptors) {
  const int high = fcntl(STDIN_FILENO, F_DUPFD, 900);
  const std::size_t before = support::descriptorCount();
  const std::int32_t pid = cbl::launchDetached("exec sleep 60");
  close(high);
  ASSERT_GT(pid, 0);
  EXPECT_EQ(support::descriptorCount(), before - 1);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "neither child nor zombie";
  const std::string directory = "/proc/" + std::to_string(pid);
  EXPECT_TRUE(waitUntil([&] {  // while it starts, its loader opens libraries
    return readFile(directory + "/comm") == "sleep\n" && support::entriesOf((directory + "/fd").c_str()) == 3;
  }));
  EXPECT_TRUE(std::filesystem::exists(directory + "/fd/2"));
  kill(pid, SIGKILL);
}

TEST_F(Process, LaunchRunsTheCommandInTheNamedShell) {
  EXPECT_EQ(cbl::launchDetached(""), -1);
  unsetenv("SHELL");
  EXPECT_EQ(cbl::launchDetached("echo started >" + report), -2);
  std::filesystem::create_symlink("/bin/sh", dir.file("own\\shell"));
  for (const auto& [path, name] : {std::pair{"/bin/sh"s, "sh\n"}, {dir.file("own\\shell"), "shell\n"}}) {
    setenv("SHELL", path.c_str(), 1);
    EXPECT_GT(cbl::launchDetached("echo \"$0\" >" + report), 0);
    EXPECT_TRUE(reported(name)) << readFile(report);
  }
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
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 1 << 20);
    setrlimit(RLIMIT_NOFILE, &limit);
    const int highest = fcntl(STDIN_FILENO, F_DUPFD, static_cast<int>(limit.rlim_cur - 1));
    const auto start = std::chrono::steady_clock::now();
    const std::int32_t pid =
        cbl::launchDetached("[ -e /proc/$$/fd/" + std::to_string(highest) + " ]; echo $? >" + report);
    const bool quick = std::chrono::steady_clock::now() - start < std::chrono::seconds(5);
    std::exit(pid > 0 && quick && highest > 0 ? 0 : 1);
  };
  EXPECT_EXIT(launchWithHighLimit(), testing::ExitedWithCode(0), "");
  EXPECT_TRUE(reported("1\n")) << "leaked";
}

TEST_F(Process, LaunchedProcessBlocksNoSignal) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const std::int32_t pid = cbl::launchDetached("grep SigBlk /proc/self/status >" + report);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_GT(pid, 0);
  EXPECT_TRUE(reported("SigBlk:\t0000000000000000\n")) << readFile(report);
}

TEST_F(Process, AHostThatIgnoresItsChildrenIsToldTheyCannotBeWaitedFor) {
  const auto before = signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(cbl::launchDetached("echo launched >" + report), -5);
  EXPECT_TRUE(reported("launched\n")) << "and started all the same";
  EXPECT_EQ(cbl::execCommand("/bin/cp " + report + " " + dir.file("copy"), {}, {}, false), -5);
  signal(SIGCHLD, before);
  EXPECT_TRUE(waitUntil([&] { return readFile(dir.file("copy")) == "launched\n"; }));
}

// As on a kernel without close_range, with a limit that cannot be tried through.
[[noreturn]] void exitAfterClosingOneByOne() {
  sock_filter refuse[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_close_range, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program = {4, refuse};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program);
  std::vector<int> opened;
  for (int i = 0; i < 300; ++i) opened.push_back(fcntl(STDIN_FILENO, F_DUPFD, 3));
  const int kept = opened[100];
  const int high = fcntl(STDIN_FILENO, F_DUPFD, 900);
  cbl::closeDescriptorsFrom3(kept, high, 1000000000);
  const bool heldBack = fcntl(kept, F_GETFD) >= 0 && fcntl(high, F_GETFD) >= 0 && support::descriptorCount() <= 6;
  cbl::closeDescriptorsFrom3(1000000000);
  _exit(heldBack && fcntl(kept, F_GETFD) < 0 && fcntl(high, F_GETFD) < 0 && fcntl(2, F_GETFD) >= 0 ? 0 : 1);
}

TEST(CloseDescriptors, NeedsNoKernelThatClosesARange) {
  EXPECT_EXIT(exitAfterClosingOneByOne(), testing::ExitedWithCode(0), "");
}

TEST_F(Process, RunCommandTakesTheCodeFromTheLastLine) {
  const std::tuple<std::string, std::int32_t, Lines> cases[] = {{"printf 'a\\n\\nb\\n\\n\\n'; (exit 3)", 3, {"a", "b"}},
                                                                {"true " + std::string(5000, 'x'), 0, {}},
                                                                {"kill -9 $$", -2, {}},
                                                                {"exit 3", -2, {}}};
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
  const std::tuple<std::string, std::int32_t, Strings> cases[] = {
      {"printf 'a\\r\\n\\nb\\n'; (exit 4)", 4, {"a", "", "b"}},
      {"printf %05000d 0; echo", 0, {std::string(4095, '0'), std::string(905, '0')}},
      {"echo a; echo " + marker + "1; echo never", 1, {"a"}},
      {"echo " + marker + "; echo x" + marker + "1", 0, {marker, "x" + marker + "1"}},
      {"echo a; exit 1", -127, {"a"}}};
  for (const auto& [command, result, expected] : cases) {
    Strings lines;
    const auto callback = [&lines = lines](const char* line, std::uintptr_t userValue) {
      lines.push_back(userValue == 4711 ? line : "another value");
    };
    EXPECT_EQ(cbl::runCommandWithCallback(command, callback, 4711), result) << command;
    EXPECT_EQ(lines, expected) << command;
  }
  EXPECT_EQ(cbl::runCommandWithCallback("true", nullptr, 0), -1);
}

TEST(CommandLine, SplitsAtBlanksOutsideQuotes) {
  const std::pair<std::string, Strings> cases[] = {{" \n\t", {}},
                                                   {"a \"b c\" d \"e", {"a", "b c", "d", "\"e"}},
                                                   {"\"a\"b\"c d\"", {"a", "b\"c", "d\""}},
                                                   {"\"\" \"a\nb\"", {"", "\"a", "b\""}}};
  for (const auto& [line, expected] : cases) {
    Strings tokens;
    EXPECT_EQ(cbl::parseCmdline(line, tokens), static_cast<std::int32_t>(expected.size()));
    EXPECT_EQ(tokens, expected) << line;
  }
}

TEST_F(Process, ExecReportsWhyNot) {
  CaptureStdout();
  EXPECT_EQ(cbl::execCommand("", {}, {}, false), -1);
  EXPECT_EQ(cbl::execCommand("/bin/true\0x"s, {}, {}, false), -2);
  EXPECT_EQ(cbl::execCommand(" \t\n", {"/bin/true"}, {}, false), -3);
  EXPECT_EQ(cbl::execCommand(dir.file("missing"), {}, {}, false), -4);
  EXPECT_EQ(cbl::execCommand(dir.write("plain", "x"), {}, {}, false), -4);
  EXPECT_EQ(GetCapturedStdout(), "parseCmdline /bin/true error -1\n");
}

TEST_F(Process, ExecStartsADaemonWithArgumentsAndEnvironment) {
  const int leak = fcntl(STDIN_FILENO, F_DUPFD, 60);
  for (const char* name : {"CBL_KEPT", "CBL_CHANGED", "CBL_REMOVED"}) setenv(name, "old", 1);
  const std::string script = dir.write(
      "script", "exec >" + report + "; echo \"$1|$2|$#|$CBL_KEPT|$CBL_CHANGED|${CBL_REMOVED-none}|$(pwd)\"\n" +
                    "[ -e /proc/$$/fd/" + std::to_string(leak) +
                    " ] && echo leaked\nreadlink /proc/$$/fd/0 /proc/$$/fd/2\n");
  const Strings environment = {"CBL_CHANGED=new=er", "CBL_REMOVED"};
  EXPECT_EQ(cbl::execCommand("/bin/sh " + script + " \"one two\"", {"three \"four\""}, environment, true), 0);
  EXPECT_TRUE(reported("one two|three \"four\"|2|old|new=er|none|/\n/dev/null\n/dev/null\n")) << readFile(report);
  EXPECT_EQ(getenv("CBL_CHANGED"), "old"s) << "the caller's own environment stays";
  close(leak);
}

Strings environmentNow() {
  Strings variables;
  for (char** variable = environ; *variable != nullptr; ++variable) variables.emplace_back(*variable);
  return variables;
}

// Ends its process with status 0 when arguments and environment, side by side as at a process's start, are as they have
// to be after the title was set.
void exitAfterTitle(std::size_t titleLength, const std::string& shown) {
  std::string area = "program\0argument\0A=1\0B=2=3\0"s;
  char* argv[] = {area.data(), area.data() + 8, nullptr};
  char* variables[] = {area.data() + 17, area.data() + 21, nullptr};
  environ = variables;
  bool good = cbl::setProcessTitle(2, argv, std::string(titleLength, 't')) == 0 && argv[0] == shown;
  good = good && argv[1] == nullptr && environmentNow() == Strings{"A=1", "B=2=3"};
  good = good && cbl::setProcessTitle(2, argv, "2") == 0 && argv[0] == "2"s;
  std::exit(good ? 0 : 1);
}

TEST(ProcessTitle, ReplacesTheArgumentsAndKeepsTheEnvironment) {
  const std::pair<std::size_t, std::size_t> lengths[] = {{1, 1}, {16, 16}, {17, 17}, {26, 26}, {27, 26}, {5000, 26}};
  for (const auto& [title, shown] : lengths) {
    EXPECT_EXIT(exitAfterTitle(title, std::string(shown, 't')), testing::ExitedWithCode(0), "") << title;
  }
  char* argv[] = {nullptr};
  EXPECT_EQ(cbl::setProcessTitle(0, argv, "x"), -1);
  EXPECT_EQ(cbl::setProcessTitle(1, nullptr, "x"), -1);
  EXPECT_EQ(cbl::setProcessTitle(1, argv, ""), -1);
}

}  // namespace
