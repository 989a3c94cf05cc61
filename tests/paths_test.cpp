#include "core/paths.h"

#include <gtest/gtest.h>

#include "tests/temp_dir.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

namespace vm {
namespace {

namespace fs = std::filesystem;

using testing_support::TempDir;

// Runs the body of a test from another working folder and goes back afterwards.
class WorkingFolder {
 public:
  explicit WorkingFolder(const std::string& folder) : saved_(fs::current_path()) { fs::current_path(folder); }
  ~WorkingFolder() {
    std::error_code ec;
    fs::current_path(saved_, ec);
  }
  WorkingFolder(const WorkingFolder&) = delete;
  WorkingFolder& operator=(const WorkingFolder&) = delete;

 private:
  fs::path saved_;
};

TEST(PathNamesTest, DirNameAndBaseNameSplitAtTheLastSeparator) {
  const struct {
    const char* path;
    const char* dir;
    const char* base;
  } cases[] = {
      {"Tracks\\Oval.trk", "Tracks\\", "Oval.trk"},
      {"/games/vm/Tracks/Oval.trk", "/games/vm/Tracks/", "Oval.trk"},
      {"Cars/Team A\\Red.crs", "Cars/Team A\\", "Red.crs"},
      {"Oval.trk", "", "Oval.trk"},
      {"Tracks\\", "Tracks\\", ""},
      {"", "", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(DirName(c.path), c.dir);
    EXPECT_EQ(BaseName(c.path), c.base);
    EXPECT_EQ(DirName(c.path) + BaseName(c.path), c.path);
  }
}

TEST(PathNamesTest, ReplaceExtensionLooksOnlyAtTheLastComponent) {
  const struct {
    const char* path;
    const char* ext;
    const char* out;
  } cases[] = {
      {"Tracks/Oval.trk", ".gif", "Tracks/Oval.gif"},
      {"Tracks\\OVAL.TRK", ".gif", "Tracks\\OVAL.gif"},
      {"Oval.Speedway.trk", ".gif", "Oval.Speedway.gif"},
      {"My.Tracks/Oval", ".gif", "My.Tracks/Oval.gif"},
      {"My.Tracks\\Oval", ".gif", "My.Tracks\\Oval.gif"},
      {"v1.2/Tracks/Oval", ".bmp", "v1.2/Tracks/Oval.bmp"},
      {"Oval", ".gif", "Oval.gif"},
      {"Season.sea", ".res", "Season.res"},
      {"Season.sea", "", "Season"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    EXPECT_EQ(ReplaceExtension(c.path, c.ext), c.out);
  }
}

TEST(PathResolveTest, FindsAFileWhoseComponentsDifferInCase) {
  TempDir tree;
  const std::string oval = tree.Add("Tracks/Oval.trk");
  const std::string red = tree.Add("Cars/Team A/Red.crs");

  EXPECT_EQ(ResolvePath(tree.Root() + "/tracks\\OVAL.TRK"), oval);
  EXPECT_EQ(ResolvePath(tree.Root() + "\\TRACKS\\oval.trk"), oval);
  EXPECT_EQ(ResolvePath(tree.Root() + "/cars/TEAM a/red.CRS"), red);
  // A folder alone resolves too.
  EXPECT_EQ(ResolvePath(tree.Root() + "/tracks"), (fs::path(tree.Root()) / "Tracks").string());
}

TEST(PathResolveTest, AnExactMatchWinsOverOtherCases) {
  TempDir tree;
  tree.Add("Tracks/oval.trk");
  const std::string upper = tree.Add("Tracks/OVAL.trk");
  const std::string lower = (fs::path(tree.Root()) / "Tracks" / "oval.trk").string();
  EXPECT_EQ(ResolvePath(upper), upper);
  EXPECT_EQ(ResolvePath(lower), lower);
}

TEST(PathResolveTest, ReturnsTheNativePathWhenNothingMatches) {
  TempDir tree;
  tree.Add("Tracks/Oval.trk");
  // A new file in a folder that exists under another case lands in that folder.
  EXPECT_EQ(ResolvePath(tree.Root() + "\\tracks\\New.trk"), tree.Root() + "/Tracks/New.trk");
  const struct {
    std::string asked;
  } cases[] = {
      {tree.Root() + "\\Tracks\\Missing.trk"},
      {tree.Root() + "\\NoFolder\\Oval.trk"},
      {tree.Root() + "/Tracks/Oval.trk/deeper"},
      {"no\\such\\relative.trk"},
      {""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.asked);
    EXPECT_EQ(ResolvePath(c.asked), NativePath(c.asked));
  }
}

TEST(PathResolveTest, ResolvesRelativePathsFromTheWorkingFolder) {
  TempDir tree;
  tree.Add("Tracks/Oval.trk");
  tree.Add("Default.rst");
  WorkingFolder here(tree.Root());
  EXPECT_EQ(ResolvePath("TRACKS\\oval.TRK"), "Tracks/Oval.trk");
  EXPECT_EQ(ResolvePath("default.RST"), "Default.rst");
  EXPECT_EQ(ResolvePath("Tracks\\Missing.trk"), "Tracks/Missing.trk");
}

}  // namespace
}  // namespace vm
