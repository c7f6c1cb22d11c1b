// A folder of the test process's own, gone when the process ends.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    do {
      path_ = std::filesystem::temp_directory_path() / ("elfload-test-" + std::to_string(random()));
    } while (!std::filesystem::create_directory(path_));
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  static TempFolder& OfProcess() {
    static TempFolder folder;
    return folder;
  }

  std::string Path(const std::string& name) const { return (path_ / name).generic_string(); }

  std::string Write(const std::string& name, const std::vector<uint8_t>& bytes) const {
    std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
    std::ofstream(Path(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return Path(name);
  }

 private:
  std::filesystem::path path_;
};
