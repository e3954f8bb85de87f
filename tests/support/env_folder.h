// A fresh folder named by an environment variable for the life of a test (VEQDX_TRACE_DIR for
// the trace tests). Header-only and free of driver headers, so the C interface tests can use it.
#pragma once
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace veqdx::testing {

class CEnvFolder {
 public:
  CEnvFolder(const char* variable, const std::string& name)
      : variable_(variable),
        path_(std::filesystem::temp_directory_path() /
              (name + "_" + std::to_string(::getpid()))) {
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
    ::setenv(variable_, path_.c_str(), 1);
  }
  ~CEnvFolder() {
    ::unsetenv(variable_);
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  CEnvFolder(const CEnvFolder&) = delete;
  CEnvFolder& operator=(const CEnvFolder&) = delete;

  std::string Path() const { return path_.string(); }
  // The files in the folder, sorted by name.
  std::vector<std::filesystem::path> Files() const {
    std::vector<std::filesystem::path> files;
    for (const auto& e : std::filesystem::directory_iterator(path_)) files.push_back(e.path());
    std::sort(files.begin(), files.end());
    return files;
  }

 private:
  const char* variable_;
  std::filesystem::path path_;
};

}  // namespace veqdx::testing
