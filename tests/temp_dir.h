// A fresh folder per test, removed afterwards, so tests never see each other's files.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

namespace vm::testing_support {

class TempDir {
 public:
  TempDir() {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    path_ = std::filesystem::temp_directory_path() /
            ("velomark-" + std::string(info->test_suite_name()) + "-" + info->name() + "-" +
             std::to_string(::getpid()));
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& Path() const { return path_; }
  std::string Root() const { return path_.string(); }
  // The full name of a file in the folder.
  std::string File(const std::string& name) const { return (path_ / name).string(); }

  // Creates a file (and its folders) holding `content`; returns its full name.
  std::string Add(const std::string& relative, const std::string& content = "x") const {
    const std::filesystem::path full = path_ / relative;
    std::filesystem::create_directories(full.parent_path());
    std::ofstream(full, std::ios::binary) << content;
    return full.string();
  }

  // The names in the folder, sorted.
  std::vector<std::string> Listing() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_))
      names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::filesystem::path path_;
};

}  // namespace vm::testing_support
