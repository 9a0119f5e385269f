#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cbl/file/bom.h"
#include "cbl/file/directory.h"
#include "cbl/file/echo.h"
#include "cbl/file/read.h"
#include "support/process_state.h"
#include "support/temp_dir.h"

namespace {

using Lines = std::list<std::string>;
using support::readFile;
using support::TempDir;
using testing::UnorderedElementsAre;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;
using namespace std::string_literals;
namespace fs = std::filesystem;

TEST(Directory, WalksWithoutFollowingLinks) {
  const TempDir dir;
  fs::create_directories(dir.path() / "sub/deep");
  fs::create_directory_symlink(dir.path() / "sub", dir.path() / "link");
  for (const char* name : {"a.xml", "a.XML", "a.xml.bak", "sub/b.xml", "sub/deep/c.txt"}) dir.write(name, "x");
  const std::string root = dir.path().string();

  std::vector<std::string> seen;
  const auto visitor = [&](const std::string& path, const struct stat64& entry) {
    const std::string kind = S_ISDIR(entry.st_mode) ? " dir" : S_ISLNK(entry.st_mode) ? " link" : "";
    seen.push_back(path.substr(root.size()) + kind);
  };
  EXPECT_EQ(cbl::listDir64(root, true, visitor), 0);
  EXPECT_THAT(seen, UnorderedElementsAre("/a.xml", "/a.XML", "/a.xml.bak", "/link link", "/sub dir", "/sub/b.xml",
                                         "/sub/deep dir", "/sub/deep/c.txt"));
  EXPECT_LT(std::find(seen.begin(), seen.end(), "/sub dir"), std::find(seen.begin(), seen.end(), "/sub/b.xml"));
  Lines files = {"old"};
  EXPECT_EQ(cbl::listAllFiles(root + "//", files, {".xml"}), 0);
  EXPECT_THAT(files, UnorderedElementsAre(root + "/a.xml", root + "/sub/b.xml"));
  EXPECT_EQ(cbl::listAllFiles(root, files, {".txt", "c.txt", ".XML"}), 0);
  EXPECT_THAT(files, UnorderedElementsAre(root + "/a.XML", root + "/sub/deep/c.txt"));
}

TEST(Directory, FailedWalksHaveTheirCodes) {
  const TempDir dir;
  fs::create_directories(dir.path() / "sub/gone");
  Lines files = {"old"};
  EXPECT_EQ(cbl::listAllFiles(dir.file("missing"), files, {}), -2);
  EXPECT_TRUE(files.empty());
  EXPECT_EQ(cbl::listDir64(dir.path(), true, nullptr), -1);

  const std::size_t descriptors = support::descriptorCount();
  CaptureStdout();
  const auto removing = [&](const std::string& path, const struct stat64&) {
    if (path == dir.file("sub/gone")) fs::remove(path);
  };
  EXPECT_EQ(cbl::listDir64(dir.path(), true, removing), -4);
  EXPECT_EQ(GetCapturedStdout(), "listDir64 error -2\nlistDir64 error -4\n");
  EXPECT_EQ(support::descriptorCount(), descriptors);
}

TEST(Directory, MakesEveryMissingLevel) {
  const TempDir dir;
  dir.write("file", "x");
  fs::create_directory(dir.file("a"));
  EXPECT_EQ(cbl::makeDirs(""), 0);
  EXPECT_EQ(cbl::makeDirs(dir.file("a/b/c/")), 1);
  EXPECT_EQ(cbl::makeDirs(dir.file("a/b/c/d")), 1);
  EXPECT_EQ(cbl::makeDirs(dir.file("a/b/c/d")), 1);
  EXPECT_TRUE(fs::is_directory(dir.file("a/b/c/d")));
  CaptureStdout();
  EXPECT_EQ(cbl::makeDirs(dir.file("file/x/y")), 0);
  EXPECT_EQ(GetCapturedStdout(), "mkdir " + dir.file("file/x/") + " failed(20,Not a directory)\n");
}

TEST(File, ByteOrderMarks) {
  const std::tuple<std::string, std::int32_t, std::string> cases[] = {{"\xEF\xBB\xBF-", 3, "UTF-8"},
                                                                      {"\xFF\xFE\0\0A\0\0\0"s, 2, "UTF-16LE"},
                                                                      {"\xFE\xFF-", 2, "UTF-16BE"},
                                                                      {"\0\0\xFE\xFF"s, 4, "UTF-32BE"},
                                                                      {"\0\0\xFE"s, -2, ""},
                                                                      {"\xEF\xBB", -2, ""},
                                                                      {"\xFF", -1, ""}};
  for (const auto& [content, result, expected] : cases) {
    std::string encoding;
    EXPECT_EQ(cbl::detectBom(content, encoding), result);
    EXPECT_EQ(encoding, expected);
  }
}

TEST(File, LinesLoseMarkLineEndsAndBlanks) {
  const TempDir dir;
  const std::string longLine(4095, 'x');
  const std::string path = dir.write("lines", "\xEF\xBB\xBF-first\r\n\n\r\n two \n" + longLine + "y\n\xFF\xFE-last");
  Lines lines = {"old"};
  EXPECT_EQ(cbl::readLinesFromFile(path.c_str(), &lines), 5);
  EXPECT_EQ(lines, (Lines{"-first", " two ", longLine, "y", "\xFF\xFE-last"}));
  EXPECT_EQ(cbl::readLinesFromFile(path.c_str(), nullptr), 5);
  EXPECT_EQ(cbl::readLinesFromFile(dir.file("missing").c_str(), &lines), -1);
  EXPECT_EQ(cbl::readLinesFromFile(dir.path().c_str(), &lines), -2);
  EXPECT_EQ(cbl::readLinesFromFile(dir.write("empty", "").c_str(), &lines), 0);
  EXPECT_TRUE(lines.empty());
  EXPECT_EQ(cbl::readLines(nullptr, &lines), -1);
}

TEST(File, WholeFilesAndNumbers) {
  const TempDir dir;
  const std::string bytes = std::string(3000, '\0') + "\r\n\xEF\xBB\xBF";
  std::string content = "old";
  EXPECT_EQ(cbl::readWholeFile(nullptr, content), -1);
  EXPECT_EQ(cbl::readWholeFile(dir.file("missing").c_str(), content), -2);
  EXPECT_EQ(content, "old");
  EXPECT_EQ(cbl::readWholeFile(dir.write("bytes", bytes).c_str(), content), 0);
  EXPECT_EQ(content, bytes);

  std::int32_t value = 77;
  EXPECT_EQ(cbl::readIntFromFile(dir.file("missing").c_str(), value, 10), -2);
  EXPECT_EQ(value, 77);
  const std::tuple<std::string, int, std::int32_t> numbers[] = {
      {"1234\n", 10, 1234}, {"-7 kg", 10, -7}, {"ff", 16, 255}, {"text", 10, 0}, {"", 10, 0}};
  for (const auto& [text, base, expected] : numbers) {
    EXPECT_EQ(cbl::readIntFromFile(dir.write("number", text).c_str(), value, base), 0);
    EXPECT_EQ(value, expected) << text;
  }
}

TEST(File, EchoReplacesTheFile) {
  const TempDir dir;
  const std::string path = dir.write("echo", "something longer");
  CaptureStdout();
  EXPECT_EQ(cbl::echoToFile(nullptr, "x"), -1);
  EXPECT_EQ(cbl::echoToFile(path.c_str(), ""), -1);
  EXPECT_EQ(readFile(path), "something longer");
  EXPECT_EQ(cbl::echoToFile(path.c_str(), "a\0b"s), 0);
  EXPECT_EQ(readFile(path), "a\0b"s);
  EXPECT_EQ(cbl::echoIntToFile(path.c_str(), -2147483647 - 1), 0);
  EXPECT_EQ(readFile(path), "-2147483648");
  EXPECT_EQ(cbl::echoToFile(dir.file("missing/x").c_str(), "x"), -2);
  EXPECT_EQ(cbl::echoToFile("/dev/full", "x"), -3);
  EXPECT_EQ(GetCapturedStdout(), "");
}

}  // namespace
