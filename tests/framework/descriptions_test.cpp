// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "framework/filter_info.h"
#include "support/test_support.h"

using kaztest::LogCapture;
using kaztest::TempDir;
using vorta::FilterInfoPtr;
using vorta::ReadFilterInfoFromConf;
using vorta::ReadFilterInfoFromXml;
using vorta::ScanEffectDirectory;

namespace {

std::string Conf(const std::string& guid, const std::string& extra = "") {
  return "{\"GUID\": \"" + guid + "\", \"NAME\": \"" + guid + " name\"" + extra + "}";
}

std::vector<std::string> Guids(const std::vector<FilterInfoPtr>& list) {
  std::vector<std::string> out;
  for (const auto& info : list) out.push_back(info->guid);
  return out;
}

TEST(ConfReader, ReadsEveryKeyWithDirectoryPrefixes) {
  TempDir dir;
  const std::string path = dir.Write("fx/effect.conf", R"({
    "GUID": "AAA-1", "NAME": "Blur behind", "OPENCL": "k.cl", "OPENGL": "f.glsl",
    "OPENGL_VERTEX": "v.glsl", "OPENGL_TYPE": "2d", "DYNAMIC": "1", "SUB_GUID": "SUB",
    "TRANSITION": false, "ENCRYPT": "7", "FUNCTION": 3, "INNERROI": 4, "IGNOREDEF": 5,
    "TEXTURES": [{"TYPE": "image", "FILE": "a.png"}, {}, null, {"TYPE": "video", "FILE": "b.mp4"}]
  })");
  const FilterInfoPtr info = ReadFilterInfoFromConf(path);
  ASSERT_TRUE(info);
  const std::string d = dir.str() + "/fx/";
  EXPECT_EQ((std::vector<std::string>{info->guid, info->name, info->openclPath, info->openglPath,
                                      info->openglVertexPath, info->openglType, info->subGuid,
                                      info->mainTexture}),
            (std::vector<std::string>{"AAA-1", "Blur behind", d + "k.cl", d + "f.glsl",
                                      d + "v.glsl", "2d", "SUB", "MAIN"}));
  // TRANSITION: presence alone sets the flag, whatever the value.
  EXPECT_EQ(
      (std::vector<int>{info->hasOpenCL, info->hasOpenGL, info->hasOpenGLVertex, info->transition,
                        info->dynamic, info->encrypted, info->function, info->innerRoi,
                        info->ignoreDefaults, info->TextureCount(), info->ParamCount()}),
      (std::vector<int>{1, 1, 1, 1, 1, 7, 3, 4, 5, 2, 0}));
  // The empty object and null are skipped.
  EXPECT_EQ((std::vector<std::string>{info->TextureAt(0), info->TextureAt(1), info->TextureAt(2)}),
            (std::vector<std::string>{d + "a.png", "video|" + d + "b.mp4", ""}));
  EXPECT_EQ(info->ParamAt(0), nullptr);
}

TEST(ConfReader, NoDescriptionYieldsNothingSilently) {
  TempDir dir;
  LogCapture log;
  for (const char* content : {"null", "{}", "[]", R"({"GUID": ""})", R"({"NAME": "x"})"}) {
    EXPECT_EQ(ReadFilterInfoFromConf(dir.Write("e.conf", content)), nullptr) << content;
  }
  EXPECT_EQ(ReadFilterInfoFromConf(dir.str() + "/missing.conf"), nullptr);
  EXPECT_TRUE(log.Lines().empty());
}

TEST(ConfReader, BadContentIsSkippedWithAReason) {
  const struct {
    const char* content;
    const char* reason;
  } cases[] = {
      {R"({"GUID": "G", )", "parse error"},
      {R"({"GUID": 12})", "type must be string, but is number"},
      {R"({"GUID": "G", "NAME": 5})", "type must be string, but is number"},
      {R"({"GUID": "G", "DYNAMIC": "yes"})", "stoi"},
      {R"({"GUID": "G", "DYNAMIC": 1})", "type must be string"},
      {R"({"GUID": "G", "FUNCTION": "3"})", "type must be number"},
      // Out-of-range numbers once reached an undefined conversion.
      {R"({"GUID": "G", "FUNCTION": 1e20})", "\"FUNCTION\" must be a number from"},
      {R"({"GUID": "G", "INNERROI": 2147483648})", "\"INNERROI\" must be a number from"},
      {R"({"GUID": "G", "PARAMS": [{"TYPE": "int", "MIN": -1e10}]})", "\"MIN\" must be a number"},
      {R"({"GUID": "G", "PARAMS": [{"TYPE": "float", "MAX": 1e300}]})", "\"MAX\" must be a number"},
      {R"({"GUID": "G", "TEXTURES": [{"TYPE": "image"}]})", "FILE"},
      {R"({"GUID": "G", "PARAMS": {"NAME": "a"}})", "must be an array"},
      {R"([1, 2])", "not an object"},
  };
  TempDir dir;
  for (const auto& c : cases) {
    LogCapture log;
    const std::string path = dir.Write("bad.conf", c.content);
    EXPECT_EQ(ReadFilterInfoFromConf(path), nullptr) << c.content;
    const auto lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u) << c.content;
    EXPECT_EQ(lines[0].level, 4);
    EXPECT_NE(lines[0].text.find(path), std::string::npos) << lines[0].text;
    EXPECT_NE(lines[0].text.find(c.reason), std::string::npos) << lines[0].text;
  }
}

TEST(XmlReader, ReadsGuidAndNameWithEntitiesNothingWithoutAFilterAndLogsMalformed) {
  TempDir dir;
  LogCapture log;
  const FilterInfoPtr info = ReadFilterInfoFromXml(
      dir.Write("filter.xml", "<Filter><GUID>X-1</GUID><Name> Salt &amp; pepper </Name></Filter>"));
  ASSERT_TRUE(info);
  // Whitespace is preserved.
  EXPECT_EQ(std::make_tuple(info->guid, info->name, info->ParamCount()),
            std::make_tuple("X-1", " Salt & pepper ", 0));
  const FilterInfoPtr other = ReadFilterInfoFromXml(dir.Write("filter.xml", "<Other/>"));
  ASSERT_TRUE(other) << "an empty description, not a failure";
  EXPECT_EQ(other->guid + other->name, "");
  const std::string path = dir.Write("filter.xml", "<Filter><GUID>X</Filter>");
  EXPECT_EQ(ReadFilterInfoFromXml(path), nullptr);
  ASSERT_EQ(log.Lines().size(), 1u);
  EXPECT_EQ(log.Lines()[0].level, 4);
  EXPECT_NE(log.Lines()[0].text.find(path), std::string::npos);
}

TEST(Scan, DepthFirstChildrenBeforeParentInNameOrder) {
  TempDir dir;
  dir.Write("b/effect.conf", Conf("B"));
  dir.Write("b/inner/deeper/effect.conf", Conf("B-DEEP"));
  dir.Write("b/inner/effect.conf", Conf("B-INNER"));
  dir.Write("a/x.conf", Conf("A"));
  dir.Write("c/filter.xml", "<Filter><GUID>C-XML</GUID></Filter>");
  dir.Write("c/effect.conf", Conf("C-CONF"));
  dir.Write("d/my.config", Conf("D-CONFIG"));
  dir.Write("e/filter.xml", "<Filter><GUID>E</GUID></Filter>");
  dir.Write("f/broken.conf", "{");
  dir.Write("g/readme.txt", "nothing here");
  dir.Write("root.conf", Conf("ROOT"));
  // A link back to an ancestor must not send the scan round again.
  std::filesystem::create_directory_symlink(dir.path(), dir.path() / "b" / "inner" / "loop");
  LogCapture log;
  std::vector<FilterInfoPtr> found;
  EXPECT_TRUE(ScanEffectDirectory(dir.str(), found, false));
  EXPECT_EQ(Guids(found), (std::vector<std::string>{"A", "B-DEEP", "B-INNER", "B", "C-CONF",
                                                    "D-CONFIG", "E", "ROOT"}));
  // The broken one is named, and the scan goes on.
  ASSERT_EQ(log.Lines().size(), 1u) << log.Dump();
  EXPECT_NE(log.Lines()[0].text.find("broken.conf"), std::string::npos) << log.Dump();
}

TEST(Scan, AppendsAndALaterMatchOfTheSameKindReplacesAnEarlier) {
  TempDir dir;
  dir.Write("fx/a.conf", Conf("FIRST"));
  dir.Write("fx/b.conf", Conf("SECOND"));
  std::vector<FilterInfoPtr> found = {std::make_shared<vorta::NLEFilterInfo>()};
  ASSERT_TRUE(ScanEffectDirectory(dir.str(), found, false));
  EXPECT_EQ(Guids(found), (std::vector<std::string>{"", "SECOND"}));
  // A missing directory, or a file, fails and adds nothing.
  EXPECT_FALSE(ScanEffectDirectory(dir.str() + "/nope", found, false));
  EXPECT_FALSE(ScanEffectDirectory(dir.Write("file.conf", "{}"), found, false));
  EXPECT_EQ(found.size(), 2u);
}

// Root reads every directory, so the scan runs in a child that has dropped to "nobody".
TEST(Scan, UnreadableSubdirectoryFailsTheScanButNotItsSiblings) {
  TempDir dir;
  dir.Write("ok/a.conf", Conf("OK"));
  dir.Write("locked/b.conf", Conf("LOCKED"));
  std::filesystem::permissions(dir.path() / "locked", std::filesystem::perms::none);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(10);
    std::vector<FilterInfoPtr> found;
    const bool ok = ScanEffectDirectory(dir.str(), found, false);
    _exit(ok ? 11 : Guids(found) == std::vector<std::string>{"OK"} ? 0 : 12);
  }
  int status = 0;
  waitpid(child, &status, 0);
  std::filesystem::permissions(dir.path() / "locked", std::filesystem::perms::owner_all);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0) << "10: could not drop rights, 11: scan claimed success, "
                                       "12: the readable sibling was not found";
}

TEST(Scan, MarkedOnlyEntersMarkedDirectoriesAndReadsNoFiles) {
  TempDir dir;
  dir.Write("2_blur/a.conf", Conf("MARKED"));
  dir.Write("16_x/b.conf", Conf("NESTED-PARENT-IS-LAST"));
  dir.Write("16_x/2_y/a.conf", Conf("NESTED"));
  dir.Write("plain/3_z/a.conf", Conf("UNDER-PLAIN"));
  dir.Write("root.conf", Conf("ROOT"));
  std::vector<FilterInfoPtr> found;
  EXPECT_TRUE(ScanEffectDirectory(dir.str(), found, true));
  EXPECT_EQ(Guids(found), (std::vector<std::string>{"NESTED", "NESTED-PARENT-IS-LAST", "MARKED"}))
      << "16_x is entered (and read whole), 2_blur too; plain/ and the root's own file are not";
}

}  // namespace
