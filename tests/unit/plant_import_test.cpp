#include "plant/import.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "plant/check.h"
#include "plant/csv.h"
#include "plant/ede_writer.h"
#include "plant/file.h"
#include "plant/point_table.h"
#include "plant/text_encoding.h"
#include "support/page.h"
#include "support/temp_dir.h"

namespace {

using plant::Placement;
using support::replaced;
using testing::ElementsAre;
using testing::HasSubstr;

const std::string kHead =
    "# keyname;device obj.-instance;object-name;object-type;object-instance;description;settable\n";

std::string utf16(const std::string& latin1, bool isBigEndian) {
  std::string wide;
  for (const char each : latin1) wide += isBigEndian ? std::string{'\0', each} : std::string{each, '\0'};
  return wide;
}

// "3:7 Temp AI1", with the device before the point; lines left out with their reasons.
std::vector<std::string> objectsOf(const std::string& bytes) {
  std::vector<std::string> lines;
  const plant::EdeList list = plant::readEdeList(bytes);
  for (const plant::EdeObject& each : list.objects)
    lines.push_back(std::to_string(each.line) + ":" + (each.device ? std::to_string(*each.device) : "-") + " " +
                    each.keyname + " " + plant::objectName(each.objectType, each.instance) +
                    (each.isCommandable ? " settable" : ""));
  for (const plant::LeftOut& each : list.leftOut)
    lines.push_back(std::to_string(each.line) + " left out: " + each.reason);
  return lines;
}

TEST(PlantEde, ReadsTheShapesThatFilesOfTheFieldHave) {
  const std::string plain = kHead + "R\xE4um;7;N;0;1;D;Y\n";  // Latin-1
  const std::string utf8 = kHead + "Räum;7;N;0;1;D;Y\n";
  const std::string head = "PROJECT_NAME;P\nVERSION_OF_LAYOUT;2.3\n#mandatory;mandatory;optional\n";
  const struct {
    std::string bytes;
    std::string object;
  } cases[] = {
      {plain, "2:7 Räum AI1 settable"},
      {utf8, "2:7 Räum AI1 settable"},
      {"\xEF\xBB\xBF" + utf8, "2:7 Räum AI1 settable"},
      {"\xFF\xFE" + utf16(plain, false), "2:7 Räum AI1 settable"},
      {"\xFE\xFF" + utf16(plain, true), "2:7 Räum AI1 settable"},
      {utf16(plain, false), "2:7 Räum AI1 settable"},
      {kHead + "\x80uro;7;N;0;1;D;N\n", "2:7 €uro AI1"},
      {replaced(utf8, ";", ","), "2:7 Räum AI1 settable"},
      {replaced(utf8, ";", "\t"), "2:7 Räum AI1 settable"},
      {replaced(utf8, "\n", "\r\n"), "2:7 Räum AI1 settable"},
      {"sep=;\n" + utf8, "3:7 Räum AI1 settable"},
      {"# a title\n" + head + utf8, "6:7 Räum AI1 settable"},
      {head + "\n;;;\nRoom;7;N;2;5\n", "6:7 Room AV5"},  // no column names, columns missing at the end
      {"Commandable;OBJECT_TYPE;odd;Object Instance;keyname\ny;1;x;4;K\n", "2:- K AO4 settable"},
      {kHead + "\"a;b \"\"c\"\"\n d\" e;7;N;0;1\n", "2:7 a;b \"c\"\n d e AI1"},
      {kHead + "\"12 inch;7;N;0;1\n", "2:7 \"12 inch AI1"},
      {kHead + " Room ; 7 ;N; 130 ; 4194302 ", "2:7 Room 130-4194302"},
  };
  for (const auto& each : cases) EXPECT_THAT(objectsOf(each.bytes), ElementsAre(each.object)) << each.bytes;
}

TEST(PlantEde, TellsEachLineThatItLeavesOutAndWhy) {
  EXPECT_THAT(
      objectsOf(kHead + "A;7;N;0;1\nB;7;N;;1\nC;7;N;AI;1\nD;7;N;1024;1\nE;7;N;0;\nF;7;N;0;4194303\nG;x;N;0;2\n"
                        "H;7;N;0;1\nI;8;N;0;1\n#J;7;N;0;9\nK;4194303;N;0;1\nL\n"),
      ElementsAre("2:7 A AI1", "10:8 I AI1", "3 left out: no object-type", "4 left out: object-type 'AI' is no number",
                  "5 left out: object-type 1024 is out of range", "6 left out: no object-instance",
                  "7 left out: object-instance 4194303 is out of range",
                  "8 left out: device obj.-instance 'x' is no number", "9 left out: the object of line 2 once more",
                  "12 left out: device obj.-instance 4194303 is out of range", "13 left out: no object-type"));
}

// A project that is made or extended in a directory of its own.
class PlantImport : public testing::Test {
 protected:
  std::string save(plant::CProjectWriter& project) {
    std::string error;
    EXPECT_EQ(project.save(error), 0) << error;
    return support::readFile(path);
  }
  void open(plant::CProjectWriter& project) {
    std::string error;
    ASSERT_EQ(project.open(path, error), 0) << error;
  }

  // "link.RegId name DataType", or what became of the line.
  std::vector<std::string> importEde(const std::string& text, const plant::EdeChoice& choice = {}) {
    plant::CProjectWriter project;
    open(project);
    plant::EdeFiles files;
    std::string error;
    EXPECT_EQ(plant::readEdeFiles(dir.write("A_EDE.csv", text), files, error), 0) << error;
    std::vector<std::string> lines;
    for (const plant::ImportedLine& each : plant::importEde(files, choice, project)) {
      if (each.kind == plant::ImportedLine::Kind::kNothing) lines.push_back(each.note);
      if (each.kind == plant::ImportedLine::Kind::kPoint)
        lines.push_back(std::to_string(each.link) + "." + std::to_string(each.point.regId) + " " +
                        each.point.fullName() + " " + each.point.dataTypeWord +
                        (each.placement == Placement::kKept ? " kept" : ""));
    }
    save(project);
    return lines;
  }

  std::vector<plant::Link> links() const {
    std::vector<plant::Link> found;
    std::string error;
    EXPECT_EQ(plant::readLinks(path, found, error), 0) << error;
    return found;
  }

  const support::TempDir dir;
  const std::string path = dir.file("BACnetLabel.xml");
};

TEST_F(PlantImport, AnEdeBecomesPointsWithStableNamesAndNumbers) {
  const std::string list =
      kHead +
      "T;7;N;0;1;D;N\nT;7;N;13;1;D;N\nS;7;;2;1;;Y\n;7;O;5;3\n;7;;45;2\nX[3]\x01;7;N;40;1\nC;7;N;15;1\n"
      "P;7;N;200;1\n";
  EXPECT_THAT(importEde(list),
              ElementsAre("1.1 T REAL", "1.2 T_MSI1 UDINT", "1.3 S REAL", "1.4 O BOOL", "1.5 IV2 DOUBLE",
                          "1.6 X(3) STRING", "object type 15 has no present value for a register", "1.7 P STRING"));
  EXPECT_THAT(importEde(kHead + "T;7;N;3;9\n" + list.substr(kHead.size(), 27)),
              ElementsAre("1.8 T_BI9 BOOL", "1.1 T REAL kept", "1.2 T_MSI1 UDINT kept"));

  plant::EdeChoice choice;
  choice.names = plant::NameSource::kDescription;
  choice.filter.names = {"s*"};
  choice.filter.objectTypes = {2};
  choice.filter.withRelease = choice.filter.withFlags = true;
  EXPECT_THAT(importEde(kHead + "a;7;N;2;5;Setpoint;Y\nb;7;N;2;6;Other;Y\nc;7;N;1;6;S;Y\n", choice),
              ElementsAre("1.9 Setpoint REAL", "1.10 Setpoint.Release REAL", "1.11 Setpoint.Fault BOOL",
                          "1.12 Setpoint.OutOfService BOOL"));
  std::vector<plant::Problem> problems;
  std::string error;
  EXPECT_EQ(plant::checkProject(path, problems, error), 0);
  EXPECT_TRUE(problems.empty()) << problems.front().text;
}

TEST_F(PlantImport, DevicesGoToTheLinksThatHaveThem) {
  dir.write("BACnetLabel.xml",
            "<ProjectInfo><BACnet LinkID=\"1\"><Ip>10.0.0.1</Ip></BACnet><BACnet LinkID=\"2\"><DeviceId>22</DeviceId>"
            "</BACnet></ProjectInfo>");
  plant::EdeChoice third;
  third.firstLink = 3;
  EXPECT_THAT(importEde(kHead + "A;22;N;0;1\nB;33;N;0;1\nC;44;N;0;1\n"),
              ElementsAre("2.1 A REAL", "3.1 B REAL", "4.1 C REAL"));
  EXPECT_THAT(importEde(kHead + "D;11;N;0;1\n"), ElementsAre("1.1 D REAL")) << "link 1 names no device yet";
  EXPECT_THAT(importEde(kHead + "E;55;N;0;1\n"), ElementsAre("5.1 E REAL"));
  EXPECT_THAT(importEde(kHead + "F;;N;0;7\n", third), ElementsAre("3.2 F REAL"));
  const std::vector<plant::Link> all = links();
  ASSERT_EQ(all.size(), 5U);
  EXPECT_EQ(all[0].ip, "10.0.0.1");
  EXPECT_EQ(all[0].deviceId, 11);
  EXPECT_EQ(all[2].deviceId, 33);
  EXPECT_TRUE(all[2].enableReadPropm && !all[2].enableWritePropm);
}

TEST_F(PlantImport, TextsBesideTheListAreFound) {
  dir.write("a_statetexts.CSV", "#title\n#n;Text 1\n4;Off;On;;\n");
  dir.write("A_Units.csv", "62\t°C\n");
  plant::EdeFiles files;
  std::string error;
  const std::string list = dir.write(
      "A_EDE.csv", replaced(kHead, "settable", "state-text-reference;unit-code") + "A;7;N;4;1;D;4;62\nB;7;N;4;2;D;5\n");
  ASSERT_EQ(plant::readEdeFiles(list, files, error), 0);
  plant::CProjectWriter project;
  open(project);
  const plant::ImportReport report = plant::importEde(files, {}, project);
  ASSERT_EQ(report.size(), 3U);
  EXPECT_EQ(report[1].states, "Off, On");
  EXPECT_EQ(report[1].unit, "°C");
  EXPECT_EQ(report[2].note, "there is no state text 5");

  dir.write("A_ObjTypes.csv", "#Code;Object Type\n2;Analog Value\n15;Notification Class\n");
  EXPECT_THAT(importEde(kHead + "C;7;N;analog value;4\nD;7;N;15;1\nE;7;N;Analog Thing;1\n"),
              ElementsAre("1.1 C REAL", "object type 15 (Notification Class) has no present value for a register",
                          "object-type 'Analog Thing' is no number"));
}

TEST_F(PlantImport, AnEdeOfAProjectMakesTheSamePoints) {
  const std::string first = kHead + "A;11;N;0;1;;N\n\"B; \"\"b\"\"\";11;N;2;5;;Y\nC;22;N;4;1;;Y\nÄ;22;N;200;7;;N\n";
  plant::EdeChoice withRelease;
  withRelease.filter.withRelease = withRelease.filter.withFlags = true;
  const auto points = importEde(first, withRelease);
  const plant::EdeText ede =
      plant::toEde(links(), {"P", "2027-03-09"}, [](auto type) { return "T" + std::to_string(type); });
  EXPECT_EQ(ede.objects, 4U);
  EXPECT_EQ(ede.leftOut, 10U) << "flags of four, and two releases";
  EXPECT_EQ(ede.otherDataType, 0U);
  EXPECT_THAT(ede.objectTypes, HasSubstr("\n4;T4\n200;T200\n"));
  std::filesystem::remove(path);
  EXPECT_EQ(importEde(ede.list, withRelease), points);
  EXPECT_EQ(plant::readEdeList(ede.list).projectName, "P");
}

TEST_F(PlantImport, WhatIsInTheFileStaysAsItIsWritten) {
  const std::string before =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<!-- mine -->\r\n<ProjectInfo>\r\n\t<BACnet "
      "LinkID=\"1\"><Ip>10.0.0.1"
      "</Ip></BACnet>\r\n\t<Symbols LinkID=\"1\">\r\n\t\t<Symbol  > <!-- &lt; --><Name><![CDATA[A]]></Name>"
      "<RegId>0x10</RegId><Odd>1 &amp; 2</Odd></Symbol>\r\n\t</Symbols>\r\n</ProjectInfo>\r\n";
  dir.write("BACnetLabel.xml", before);
  chmod(path.c_str(), 0640);
  plant::CProjectWriter project;
  open(project);
  plant::Link link = project.links().at(1);
  EXPECT_EQ(project.putLink(link, true), Placement::kKept);
  link.network = 5;
  EXPECT_EQ(project.putLink(link, false), Placement::kDiffers);
  EXPECT_FALSE(project.isChanged());
  EXPECT_EQ(project.text(), replaced(before, "Symbol  >", "Symbol>"));

  EXPECT_EQ(project.putLink(link, true), Placement::kChanged);
  plant::Point point = link.points.at(0);
  point.instance = 3;
  EXPECT_EQ(project.putPoint(1, point, false), Placement::kDiffers);
  EXPECT_EQ(project.putPoint(1, point, true), Placement::kChanged);
  EXPECT_EQ(project.addPoint(1, point), Placement::kKept);
  point.propId = 117;
  EXPECT_EQ(project.addPoint(1, point), Placement::kAdded);
  EXPECT_EQ(point.regId, 17);
  EXPECT_EQ(point.name, "A_AI3");
  const std::string after = save(project);
  for (const char* part : {"\r\n<!-- mine -->\r\n", "<!-- &lt; --><Name><![CDATA[A]]></Name><RegId>0x10</RegId>",
                           "<Odd>1 &amp; 2</Odd>", "<Network>5</Network>", "<Instance>3</Instance>"})
    EXPECT_THAT(after, HasSubstr(part));
  EXPECT_EQ(std::count(after.begin(), after.end(), '\n'), std::count(after.begin(), after.end(), '\r'));
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0640U);
}

TEST_F(PlantImport, ANewFileNeverTakesTheWayOfOneThatHasComeMeanwhile) {
  plant::CProjectWriter project;
  open(project);
  plant::Point point;
  EXPECT_EQ(project.addPoint(1, point), Placement::kAdded);
  dir.write("BACnetLabel.xml", "theirs");
  std::string error;
  EXPECT_EQ(project.save(error), -1);
  EXPECT_EQ(support::readFile(path), "theirs");
  const std::string pipe = dir.file("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(plant::writeFile(pipe, "text", plant::Existing::kReplaced, error), -2);
  EXPECT_TRUE(std::filesystem::remove(pipe) && error == pipe + ": not a regular file") << error;
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.path()), {}), 1) << "no temporary file is left";
}

TEST_F(PlantImport, AProjectSurvivesTheTableAndBack) {
  const std::string original = support::readFile(SOURCE_DIR "/examples/plant/BACnetLabel.xml");
  dir.write("BACnetLabel.xml",
            replaced(original, "<Name>SupplyAir.Temp<", "<Name> \"Zuluft\", &lt;Ä&gt;; a\nb <") + "<!-- -->");
  const std::string table = plant::toTable(links());
  std::filesystem::remove(path);
  plant::CProjectWriter project;
  open(project);
  plant::importTable(table, false, project);
  save(project);
  EXPECT_EQ(plant::toTable(links()), table);
  EXPECT_THAT(table, HasSubstr("\"\"Zuluft\"\", <Ä>; a\nb \""));
  for (const plant::ImportedLine& each : plant::importTable(table, true, project))
    EXPECT_EQ(each.placement, Placement::kKept) << each.line;
  EXPECT_FALSE(project.isChanged());
}

TEST_F(PlantImport, AQuoteThatIsNotClosedWithinAHundredLinesIsACharacter) {
  for (const char* lineEnd : {"\n", "\r", "\r\n"}) {
    std::string lines;
    for (int i = 0; i < 101; ++i) lines += lineEnd;
    EXPECT_EQ(plant::readCsv("\"a" + lines + "\"", ';')[0].fields[0], "\"a");
    EXPECT_EQ(plant::readCsv("\"a" + lines.substr(lines.size() / 2) + "\"", ';').size(), 1);
  }
}

TEST_F(PlantImport, AControlCharacterIsABlank) {
  const auto rows = plant::readCsv(std::string_view("a\0b;\"\vc\nd\"\n", 11), ';');
  ASSERT_EQ(rows.size(), 1);
  EXPECT_THAT(rows[0].fields, testing::ElementsAre("a b", " c\nd"));
}

TEST_F(PlantImport, ATableAddsAndUpdatesAndTellsWhatIsWrong) {
  const auto import = [&](const std::string& table, bool mayChange) {
    plant::CProjectWriter project;
    open(project);
    std::vector<std::string> lines;
    for (const plant::ImportedLine& each : plant::importTable(table, mayChange, project))
      lines.push_back(
          std::to_string(each.line) + " " + each.point.fullName() + " " +
          std::to_string(each.kind == plant::ImportedLine::Kind::kNothing ? -1 : static_cast<int>(each.placement)) +
          (each.note.empty() ? "" : ": " + each.note));
    save(project);
    return lines;
  };
  EXPECT_TRUE(plant::isTable("\n;;\nRegId;x\n") && !plant::isTable(kHead));
  EXPECT_THAT(import("regId;name;propId;instance;link;priorityReset\n5;A[2];85;1;2;TRUE\n;B;85;2;2;\n5;C;85;3;2;\n"
                     "x;D;85;1;2;\n7;E;8 5;1;2;\n8;F;85;1;2;maybe\n9;G;85;1;-1;\n",
                     false),
              ElementsAre("2 A[2] 0", "3 B 0", "4  -1: RegId 5 once more", "5  -1: regId 'x' is no whole number",
                          "6  -1: propId '8 5' is no whole number", "7  -1: priorityReset 'maybe' is not true or false",
                          "8  -1: '-1' is no link's number"));
  EXPECT_EQ(links().at(0).points.at(1).regId, 6);
  const std::string changed = "regId,name,propId,instance,link,priorityReset\n5,A[2],85,9,2,true\n";
  EXPECT_THAT(import(changed, false), ElementsAre("2 A[2] 3: the project has it otherwise, and keeps it"));
  EXPECT_EQ(links().at(0).points.at(0).instance, 1);
  EXPECT_THAT(import(changed, true), ElementsAre("2 A[2] 2"));
  EXPECT_EQ(links().at(0).points.at(0).instance, 9);
}

}  // namespace
