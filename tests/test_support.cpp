#include "test_support.h"

#include <stdlib.h>
#include <zlib.h>

#include <fstream>
#include <iterator>

#include "base/byte_string.h"
#include "host/system/host_control.h"

namespace snk::test {

void HostTest::SetUp() {
  std::string pattern = (std::filesystem::temp_directory_path() / "snk-test-XXXXXX").string();
  ASSERT_NE(mkdtemp(pattern.data()), nullptr);
  dir_ = pattern;
  setenv("XDG_CONFIG_HOME", (dir_ / "config").c_str(), 1);
  snk::host::CloseConfigDatabase();
  snk::host::ClearRegistryOverlay();
  snk::host::SetUiPolicy({});
  snk::host::SetMessageBoxHook([this](std::u16string_view text, std::u16string_view caption, UINT type) {
    boxes_.push_back({std::u16string(text), std::u16string(caption), type});
    return boxAnswer_;
  });
}

void HostTest::TearDown() {
  snk::host::SetMessageBoxHook({});
  snk::host::SetUiPolicy({});
  snk::host::ClearRegistryOverlay();
  snk::host::CloseConfigDatabase();
  std::error_code ec;
  std::filesystem::remove_all(dir_, ec);
}

std::u16string HostTest::Path(const std::string& name) const {
  return CKM_WideString::FromUTF8((dir_ / name).string()).str();
}

ScopedEnv::ScopedEnv(const char* name, const char* value) : name_(name) {
  if (const char* old = getenv(name)) old_ = old;
  value ? setenv(name, value, 1) : unsetenv(name);
}

ScopedEnv::~ScopedEnv() { old_ ? setenv(name_, old_->c_str(), 1) : unsetenv(name_); }

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string Inflate(std::string_view data) {
  z_stream zs{};
  if (inflateInit(&zs) != Z_OK) return {};
  zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  zs.avail_in = static_cast<uInt>(data.size());
  std::string out;
  char buffer[4096];
  int rc;
  do {
    zs.next_out = reinterpret_cast<Bytef*>(buffer);
    zs.avail_out = sizeof buffer;
    rc = inflate(&zs, Z_NO_FLUSH);
    out.append(buffer, sizeof buffer - zs.avail_out);
  } while (rc == Z_OK);
  inflateEnd(&zs);
  return rc == Z_STREAM_END ? out : std::string();
}

std::filesystem::path SharedDir() {
  std::filesystem::path dir(SNK_SHARED_DIR);
  return std::filesystem::exists(dir / "corpus") ? dir : std::filesystem::path();
}

}  // namespace snk::test
