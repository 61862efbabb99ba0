// Shared fixtures of the unit tests.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace snk::test {

// A fresh configuration folder (the registry database lives there) and a
// working folder for files, both removed afterwards; message boxes are
// recorded instead of shown.
class HostTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::filesystem::path Dir() const { return dir_; }
  std::u16string Path(const std::string& name) const;

  struct Box {
    std::u16string text;
    std::u16string caption;
    UINT type;
  };
  std::vector<Box> boxes_;
  int boxAnswer_ = IDNO;

 private:
  std::filesystem::path dir_;
};

// Sets (or with null, removes) an environment variable for one scope.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value);
  ~ScopedEnv();
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

// Reads a whole file as bytes.
std::string ReadFile(const std::filesystem::path& path);

// Inflates a zlib stream; empty on error.
std::string Inflate(std::string_view data);

// The source's shared folder (corpus, tools), or empty if absent.
std::filesystem::path SharedDir();

}  // namespace snk::test
