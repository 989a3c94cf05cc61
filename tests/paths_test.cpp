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
      {"Tracks\\Oval.trk", "Tracks\\", "Oval.trk"}, {"/games/vm/Tracks/Oval.trk", "/games/vm/Tracks/", "Oval.trk"},
      {"Cars/Team A\\Red.crs", "Cars/Team A\\", "Red.crs"}, {"Oval.trk", "", "Oval.trk"},
      {"Tracks\\", "Tracks\\", ""}, {"", "", ""}};
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
      {"Tracks/Oval.trk", ".gif", "Tracks/Oval.gif"},   {"Tracks\\OVAL.TRK", ".gif", "Tracks\\OVAL.gif"},
      {"Oval.Speedway.trk", ".gif", "Oval.Speedway.gif"}, {"My.Tracks/Oval", ".gif", "My.Tracks/Oval.gif"},
      {"My.Tracks\\Oval", ".gif", "My.Tracks\\Oval.gif"}, {"v1.2/Tracks/Oval", ".bmp", "v1.2/Tracks/Oval.bmp"},
      {"Oval", ".gif", "Oval.gif"},                     {"Season.sea", ".res", "Season.res"},
      {"Season.sea", "", "Season"}};
  for (const auto& c : cases) EXPECT_EQ(ReplaceExtension(c.path, c.ext), c.out) << c.path;
}

TEST(PathResolveTest, MatchesComponentsWhateverTheirCaseAndSeparators) {
  TempDir tree;
  const std::string root = tree.Root();
  const std::string oval = tree.Add("Tracks/Oval.trk");
  const std::string red = tree.Add("Cars/Team A/Red.crs");
  const std::string lower = tree.Add("Exact/oval.trk");
  const std::string upper = tree.Add("Exact/OVAL.trk");
  const struct {
    std::string asked, found;
  } cases[] = {
      {root + "/tracks\\OVAL.TRK", oval},
      {root + "\\TRACKS\\oval.trk", oval},
      {root + "/cars/TEAM a/red.CRS", red},
      {root + "/tracks", (fs::path(root) / "Tracks").string()},  // a folder alone
      {upper, upper},  // an exact match wins over other cases
      {lower, lower},
      // A new file in a folder that exists under another case lands in that folder.
      {root + "\\tracks\\New.trk", root + "/Tracks/New.trk"},
      // Nothing matches: the native path.
      {root + "\\Tracks\\Missing.trk", NativePath(root + "\\Tracks\\Missing.trk")},
      {root + "\\NoFolder\\Oval.trk", NativePath(root + "\\NoFolder\\Oval.trk")},
      {oval + "/deeper", NativePath(oval + "/deeper")},
      {"no\\such\\relative.trk", NativePath("no\\such\\relative.trk")},
      {"", ""},
  };
  for (const auto& c : cases) EXPECT_EQ(ResolvePath(c.asked), c.found) << c.asked;
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
