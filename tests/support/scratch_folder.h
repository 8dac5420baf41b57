#ifndef PRIMFIT_TESTS_SUPPORT_SCRATCH_FOLDER_H_
#define PRIMFIT_TESTS_SUPPORT_SCRATCH_FOLDER_H_

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

/// A test with a folder of its own.
class ScratchFolder : public ::testing::Test {
 protected:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "primfit-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no scratch folder");
    folder_ = pattern;
  }
  ~ScratchFolder() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }
  std::string Write(const std::string& name, const std::string& bytes) const {
    std::ofstream(Path(name), std::ios::binary) << bytes;
    return Path(name);
  }

  std::filesystem::path folder_;
};

#endif  // PRIMFIT_TESTS_SUPPORT_SCRATCH_FOLDER_H_
