// A temporary folder per test and a project UI that records what it is asked.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "LV_TestHelpers.h"
#include "core/text/LV_Errors.h"
#include "project/LV_Project.h"

namespace lv::test {

class TTempFolder {
 public:
  TTempFolder() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() /
            ("lv_project_test_" + std::to_string(random()) + std::to_string(random()));
    std::filesystem::create_directories(path_);
  }
  ~TTempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }
  const std::filesystem::path& Path() const { return path_; }
  size_t FileCount() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(path_),
                                             std::filesystem::directory_iterator()));
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadText(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline void WriteText(const std::filesystem::path& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

class TRecordingUI : public ILVProjectUI {
 public:
  void Warning(const std::string& message) override { warnings.push_back(message); }
  bool Confirm(const std::string& question) override {
    questions.push_back(question);
    return answer;
  }
  std::optional<std::string> AskPassword(const std::string& prompt) override {
    prompts.push_back(prompt);
    return password;
  }
  std::vector<std::string> warnings;
  std::vector<std::string> questions;
  std::vector<std::string> prompts;
  bool answer = true;
  std::optional<std::string> password;
};

}  // namespace lv::test
