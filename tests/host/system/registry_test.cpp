// Registry calls against a real database in a fresh configuration folder.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/system/host_control.h"
#include "platform/win32.h"
#include "test_support.h"

namespace {

namespace fs = std::filesystem;
using snk::host::CloseConfigDatabase;
using snk::host::ConfigDatabasePath;

// Each test gets its own configuration folder and a neutral locale.
class RegistryTest : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    for (const char* name : {"LC_ALL", "LC_PAPER", "LANG"}) unsetenv(name);
  }

  HKEY Create(const char16_t* path) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    return key;
  }
};

std::vector<BYTE> Sz(std::u16string_view text) {
  std::vector<BYTE> bytes;
  for (char16_t c : text) {
    bytes.push_back(static_cast<BYTE>(c));
    bytes.push_back(static_cast<BYTE>(c >> 8));
  }
  bytes.insert(bytes.end(), {0, 0});
  return bytes;
}

LSTATUS Set(HKEY key, const char16_t* name, DWORD type, const std::vector<BYTE>& data) {
  return RegSetValueExW(key, name, 0, type, data.data(), static_cast<DWORD>(data.size()));
}

// The stored bytes and type of one value, or the error.
LSTATUS Get(HKEY key, const char16_t* name, DWORD* type, std::vector<BYTE>* data) {
  DWORD size = 0;
  LSTATUS rc = RegQueryValueExW(key, name, nullptr, type, nullptr, &size);
  if (rc != ERROR_SUCCESS) return rc;
  data->assign(size, 0);
  return RegQueryValueExW(key, name, nullptr, type, data->data(), &size);
}

std::u16string EnumName(HKEY key, DWORD index) {
  char16_t name[64];
  DWORD length = 64;
  if (RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr)) return u"?";
  return std::u16string(name, length);
}

TEST_F(RegistryTest, ValuesRoundTripWithTypeAndRawBytesAcrossReopen) {
  DWORD disposition = 0;
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, u"Software\\Snk\\Settings", 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &key, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_CREATED_NEW_KEY);
  struct Value {
    const char16_t* name;
    DWORD type;
    std::vector<BYTE> data;
  };
  const Value values[] = {
      {u"Count", REG_DWORD, {0x78, 0x56, 0x34, 0x12}},
      {u"Title", REG_SZ, Sz(u"Gr\u00fc\u00dfe")},
      {u"List", REG_MULTI_SZ, {'a', 0, 0, 0, 'b', 0, 0, 0, 0, 0}},
      {u"Blob", REG_BINARY, {0, 1, 2, 0xFF}},
      {u"Raw", REG_SZ, {'x', 0}},  // no terminator is added
      {u"Empty", REG_BINARY, {}},
  };
  for (const Value& v : values) EXPECT_EQ(Set(key, v.name, v.type, v.data), ERROR_SUCCESS);
  EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
  CloseConfigDatabase();

  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, u"Software\\Snk\\Settings", 0, nullptr, 0, KEY_ALL_ACCESS,
                            nullptr, &key, &disposition),
            ERROR_SUCCESS);
  EXPECT_EQ(disposition, REG_OPENED_EXISTING_KEY);
  DWORD type = 0;
  std::vector<BYTE> data;
  for (const Value& v : values) {
    ASSERT_EQ(Get(key, v.name, &type, &data), ERROR_SUCCESS);
    EXPECT_EQ(type, v.type);
    EXPECT_EQ(data, v.data);
  }

  // A caller expecting a number sees the stored type and size, not a number.
  DWORD number = 0, size = sizeof number;
  EXPECT_EQ(RegQueryValueExW(key, u"Title", nullptr, &type, reinterpret_cast<BYTE*>(&number), &size),
            ERROR_MORE_DATA);
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(size, Sz(u"Gr\u00fc\u00dfe").size());
  // Rewriting with another type replaces type and bytes.
  EXPECT_EQ(Set(key, u"Count", REG_SZ, Sz(u"7")), ERROR_SUCCESS);
  ASSERT_EQ(Get(key, u"Count", &type, &data), ERROR_SUCCESS);
  EXPECT_EQ(type, REG_SZ);
  RegCloseKey(key);

  struct stat st;
  ASSERT_EQ(stat((Dir() / "config/snk").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_EQ(ConfigDatabasePath(), (Dir() / "config/snk/registry.sqlite").string());
}

TEST_F(RegistryTest, NamesCompareWithoutCaseAndKeepTheirStoredForm) {
  HKEY key = Create(u"Software\\Snk");
  EXPECT_EQ(Set(key, u"PaperSize", REG_DWORD, {9, 0, 0, 0}), ERROR_SUCCESS);
  EXPECT_EQ(Set(key, u"Other", REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  EXPECT_EQ(Set(key, u"PAPERSIZE", REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  RegCloseKey(key);

  HKEY again = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"SOFTWARE\\snk", 0, KEY_READ, &again), ERROR_SUCCESS);
  DWORD type = 0;
  std::vector<BYTE> data;
  ASSERT_EQ(Get(again, u"papersize", &type, &data), ERROR_SUCCESS);
  EXPECT_EQ(data, (std::vector<BYTE>{1, 0, 0, 0}));
  // The rewrite kept the first spelling and the first place.
  EXPECT_EQ(EnumName(again, 0), u"PaperSize");
  EXPECT_EQ(EnumName(again, 1), u"Other");
  // A key opened for reading cannot write.
  EXPECT_EQ(Set(again, u"Other", REG_DWORD, {2, 0, 0, 0}), ERROR_ACCESS_DENIED);
  RegCloseKey(again);

  HKEY missing = reinterpret_cast<HKEY>(1);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Nothing", 0, KEY_READ, &missing),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(missing, nullptr);
  EXPECT_EQ(RegCloseKey(again), ERROR_INVALID_HANDLE);  // already closed
}

TEST_F(RegistryTest, QueryAndEnumerationFollowWindowsBufferRules) {
  HKEY key = Create(u"Software\\Snk\\Enum");
  ASSERT_EQ(Set(key, u"Zeta", REG_SZ, Sz(u"long value text")), ERROR_SUCCESS);
  ASSERT_EQ(Set(key, u"A", REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  ASSERT_EQ(Set(key, u"Middle", REG_BINARY, {1, 2}), ERROR_SUCCESS);
  ASSERT_EQ(RegDeleteValueW(key, u"a"), ERROR_SUCCESS);
  ASSERT_EQ(Set(key, u"A", REG_DWORD, {2, 0, 0, 0}), ERROR_SUCCESS);
  EXPECT_EQ(RegDeleteValueW(key, u"Gone"), ERROR_FILE_NOT_FOUND);

  // Insertion order: a deleted and re-added value goes to the end.
  EXPECT_EQ(EnumName(key, 0), u"Zeta");
  EXPECT_EQ(EnumName(key, 1), u"Middle");
  EXPECT_EQ(EnumName(key, 2), u"A");
  char16_t name[8];
  DWORD nameLength = 8, type = 0, size = 0;
  EXPECT_EQ(RegEnumValueW(key, 3, name, &nameLength, nullptr, &type, nullptr, &size), ERROR_NO_MORE_ITEMS);

  // A name buffer without room for the terminator: more data, length kept.
  nameLength = 4;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &nameLength, nullptr, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
  EXPECT_EQ(nameLength, 4u);
  // A small data buffer: the name is written, the size reported.
  BYTE small[4];
  nameLength = 8;
  size = sizeof small;
  EXPECT_EQ(RegEnumValueW(key, 0, name, &nameLength, nullptr, &type, small, &size), ERROR_MORE_DATA);
  EXPECT_EQ(std::u16string(name, nameLength), u"Zeta");
  EXPECT_EQ(type, REG_SZ);
  EXPECT_EQ(size, Sz(u"long value text").size());
  // RegQueryValueExW: no buffer asks for the size, a small one gets it.
  size = 1;
  EXPECT_EQ(RegQueryValueExW(key, u"Middle", nullptr, &type, small, &size), ERROR_MORE_DATA);
  EXPECT_EQ(size, 2u);
  EXPECT_EQ(RegQueryValueExW(key, u"Nope", nullptr, &type, nullptr, &size), ERROR_FILE_NOT_FOUND);

  DWORD values = 0, maxName = 0, maxData = 0, subKeys = 9;
  ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, &values, &maxName,
                             &maxData, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(values, 3u);
  EXPECT_EQ(maxName, 6u);  // "Middle", in characters without terminator
  EXPECT_EQ(maxData, Sz(u"long value text").size());
  EXPECT_EQ(subKeys, 0u);
  RegCloseKey(key);

  HKEY parent = Create(u"Software\\Snk");
  DWORD maxSubKey = 0;
  ASSERT_EQ(RegQueryInfoKeyW(parent, nullptr, nullptr, nullptr, &subKeys, &maxSubKey, nullptr, nullptr,
                             nullptr, nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(subKeys, 1u);
  EXPECT_EQ(maxSubKey, 4u);
  RegCloseKey(parent);
}

TEST_F(RegistryTest, OverlayWinsForReadsAndWritesNothing) {
  HKEY key = Create(u"Software\\Snk\\Settings");
  ASSERT_EQ(Set(key, u"Quality", REG_DWORD, {1, 0, 0, 0}), ERROR_SUCCESS);
  ASSERT_EQ(Set(key, u"Author", REG_SZ, Sz(u"db")), ERROR_SUCCESS);
  snk::host::SetRegistryOverlayDword(u"software\\SNK\\settings", u"QUALITY", 3);
  snk::host::SetRegistryOverlayString(u"Software\\Snk\\Settings", u"Extra", u"x");

  DWORD type = 0;
  std::vector<BYTE> data;
  ASSERT_EQ(Get(key, u"Quality", &type, &data), ERROR_SUCCESS);
  EXPECT_EQ(data, (std::vector<BYTE>{3, 0, 0, 0}));
  // The stored value keeps its place and spelling; overlay-only ones follow.
  EXPECT_EQ(EnumName(key, 0), u"Quality");
  EXPECT_EQ(EnumName(key, 1), u"Author");
  EXPECT_EQ(EnumName(key, 2), u"Extra");
  DWORD values = 0;
  ASSERT_EQ(RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, nullptr,
                             nullptr, nullptr, nullptr),
            ERROR_SUCCESS);
  EXPECT_EQ(values, 3u);
  // Writes reach the database but the overlay still wins.
  ASSERT_EQ(Set(key, u"Quality", REG_DWORD, {5, 0, 0, 0}), ERROR_SUCCESS);
  ASSERT_EQ(Get(key, u"Quality", &type, &data), ERROR_SUCCESS);
  EXPECT_EQ(data[0], 3);

  // A key only the overlay has opens, and so do its parents.
  snk::host::SetRegistryOverlayDword(u"Software\\Other\\Deep", u"On", 1);
  HKEY deep = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Other\\Deep", 0, KEY_READ, &deep), ERROR_SUCCESS);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Other", 0, KEY_READ, &deep), ERROR_SUCCESS);
  RegCloseKey(deep);

  snk::host::ClearRegistryOverlay();
  ASSERT_EQ(Get(key, u"Quality", &type, &data), ERROR_SUCCESS);
  EXPECT_EQ(data[0], 5);
  EXPECT_EQ(Get(key, u"Extra", &type, &data), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Other", 0, KEY_READ, &deep), ERROR_FILE_NOT_FOUND);
  RegCloseKey(key);
}

// The country code as the driver reads it, or "" when absent.
std::u16string Country() {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, u"Control Panel\\International", 0, KEY_READ, &key)) {
    return u"";
  }
  char16_t text[8] = {};
  DWORD size = sizeof text, type = 0;
  LSTATUS rc = RegQueryValueExW(key, u"iCountry", nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
  RegCloseKey(key);
  return rc == ERROR_SUCCESS && type == REG_SZ ? std::u16string(text) : u"";
}

TEST_F(RegistryTest, CountryComesFromTheLocaleUnlessStored) {
  EXPECT_EQ(Country(), u"");
  // Each variable set in turn, on top of those before it.
  const struct {
    const char* variable;
    const char* locale;
    std::u16string country;
  } cases[] = {{"LANG", "fr_FR.UTF-8", u"33"},  {"LC_PAPER", "en_CA.UTF-8", u"2"},
               {"LC_ALL", "de_DE@euro", u"49"}, {"LC_ALL", "en_GB", u"44"},
               {"LC_ALL", "en_US.UTF-8", u"1"}, {"LC_ALL", "C.UTF-8", u""},
               {"LC_ALL", "POSIX", u""}};
  for (const auto& c : cases) {
    setenv(c.variable, c.locale, 1);
    EXPECT_EQ(Country(), c.country) << c.variable << "=" << c.locale;
  }

  // A stored value wins over the locale.
  setenv("LC_ALL", "en_US.UTF-8", 1);
  HKEY key = Create(u"Control Panel\\International");
  ASSERT_EQ(Set(key, u"iCountry", REG_SZ, Sz(u"49")), ERROR_SUCCESS);
  RegCloseKey(key);
  EXPECT_EQ(Country(), u"49");
}

TEST_F(RegistryTest, CorruptDatabaseFailsCleanly) {
  std::string path = ConfigDatabasePath();
  fs::create_directories(fs::path(path).parent_path());
  {
    std::ofstream garbage(path, std::ios::binary);
    for (int i = 0; i < 4096; ++i) garbage.put(static_cast<char>(i * 37 + 11));
  }
  HKEY key = nullptr;
  LSTATUS rc = RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Snk", 0, KEY_READ, &key);
  EXPECT_NE(rc, ERROR_SUCCESS);
  EXPECT_NE(rc, ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(key, nullptr);
  EXPECT_NE(RegCreateKeyExW(HKEY_CURRENT_USER, u"Software\\Snk", 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                            nullptr),
            ERROR_SUCCESS);
  DWORD size = 0;
  EXPECT_NE(RegQueryValueExW(HKEY_CURRENT_USER, u"x", nullptr, nullptr, nullptr, &size), ERROR_SUCCESS);
  HANDLE printer = snk::host::OpenHostPrinter(u"P");
  BYTE data[4];
  EXPECT_NE(SetPrinterDataExW(printer, u"PrinterDriverData", u"v", REG_BINARY, data, 4), ERROR_SUCCESS);
  snk::host::ClosePrinter(printer);

  // The overlay still answers for its own values.
  snk::host::SetRegistryOverlayDword(u"Software\\Snk", u"On", 1);
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Snk", 0, KEY_READ, &key), ERROR_SUCCESS);
  DWORD value = 0, type = 0;
  size = sizeof value;
  EXPECT_EQ(RegQueryValueExW(key, u"On", nullptr, &type, reinterpret_cast<BYTE*>(&value), &size),
            ERROR_SUCCESS);
  EXPECT_EQ(value, 1u);
  RegCloseKey(key);
}

}  // namespace
