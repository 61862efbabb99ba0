// The settings stores: the per-job settings file through CKMC_DataExchange,
// the user's registry values and the printer's blocks; the table of values.
#include <gtest/gtest.h>

#include <cstring>
#include <set>

#include "host/system/host_control.h"
#include "services/data_exchange.h"
#include "services/settings_table.h"
#include "test_support.h"
#include "tools/snkprint/setting_keys.h"

namespace {

class SettingsFile : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    ASSERT_EQ(store_.CreateFile(), 1);
  }
  CKMC_DataExchange store_;
};

TEST_F(SettingsFile, ANewFileHoldsTheMarkerAndAnEmptyFirstSection) {
  std::string path = CKM_WideString(store_.GetFileName()).ToUTF8();
  for (char& c : path)
    if (c == '\\') c = '/';
  EXPECT_NE(path.find("/Kelmo Software/Kelmo PDF Forge/KMCPrivate_"), std::string::npos) << path;
  EXPECT_EQ(path.substr(path.size() - 4), ".ini");
  std::string bytes = snk::test::ReadFile(path);
  std::string expected("\xFF\xFE", 2);
  for (char c : std::string("[StringTable]")) expected += std::string{c, '\0'};
  expected += std::string(2, '\0');
  EXPECT_EQ(bytes, expected);
  EXPECT_EQ(store_.FileExists(), 1);

  CKMC_DataExchange second;
  ASSERT_EQ(second.CreateFile(), 1);  // the same second: another name
  EXPECT_NE(std::u16string(second.GetFileName()), std::u16string(store_.GetFileName()));
  EXPECT_EQ(second.DeleteFile(), 1);
  EXPECT_EQ(second.FileExists(), 0);
}

TEST_F(SettingsFile, StringsKeepTheirBlanksAndTheReaderCutsBothEnds) {
  ASSERT_TRUE(store_.WriteString(u"DocumentInfo", u"Title", u"  two blanks each side  "));
  char16_t out[64];
  store_.ReadString(u"DocumentInfo", u"Title", out, u"", 64);
  EXPECT_EQ(std::u16string(out), u"  two blanks each side  ");
  store_.ReadString(u"DocumentInfo", u"Missing", out, u"abc", 64);
  EXPECT_EQ(std::u16string(out), u"b");  // the default goes through the same cut
  store_.ReadString(u"DocumentInfo", u"Missing", out, u"", 64);
  EXPECT_EQ(std::u16string(out), u"");
  store_.ReadString(u"DocumentInfo", u"Title", out, u"", 6);
  EXPECT_EQ(std::u16string(out), u"  t");  // "[  tw" cut at both ends
}

TEST_F(SettingsFile, NumbersAreDecimalAndFloatsLoseTheirFraction) {
  store_.WriteInt(u"General", u"PDFVersion", 17);
  int value = 0;
  EXPECT_GT(store_.ReadInt(u"General", u"PDFVersion", &value, 14), 0);
  EXPECT_EQ(value, 17);
  store_.ReadInt(u"HeadAndFoot", u"AddHeadfoot", &value, 10);
  EXPECT_EQ(value, 10);  // absent: the default
  WritePrivateProfileStringW(u"General", u"Empty", u"", store_.GetFileName());
  EXPECT_EQ(store_.ReadInt(u"General", u"Empty", &value, 7), 0);
  EXPECT_EQ(value, 7);  // present but empty keeps the default
  WritePrivateProfileStringW(u"General", u"Odd", u"  -42abc", store_.GetFileName());
  store_.ReadInt(u"General", u"Odd", &value, 0);
  EXPECT_EQ(value, -42);

  store_.WriteFloat(u"WaterMark", u"Scale", 2.7f);
  char16_t raw[16];
  GetPrivateProfileStringW(u"WaterMark", u"Scale", u"", raw, 16, store_.GetFileName());
  EXPECT_EQ(std::u16string(raw), u"2");
  float f = 0;
  store_.ReadFloat(u"WaterMark", u"Scale", &f, 1.5f);
  EXPECT_EQ(f, 2.0f);
}

TEST_F(SettingsFile, AnsiStringsAndStructsRoundTrip) {
  store_.WriteStringA(u"General", u"Name", "caf\xE9");
  char text[16];
  store_.ReadStringA(u"General", u"Name", text, "", 16);
  EXPECT_STREQ(text, "caf\xE9");
  const uint8_t key[5] = {0, 1, 0x7F, 0x80, 0xFF};
  ASSERT_TRUE(store_.WriteStruct(u"Security", u"PDFKey", key, 5));
  uint8_t back[5] = {};
  ASSERT_TRUE(store_.ReadStruct(u"Security", u"PDFKey", back, 5));
  EXPECT_EQ(std::memcmp(key, back, 5), 0);
  EXPECT_FALSE(store_.ReadStruct(u"Security", u"PDFKey", back, 4));  // wrong size
}

TEST_F(SettingsFile, WithoutAFileEveryReadGivesItsDefault) {
  CKMC_DataExchange none;
  int value = 0;
  none.ReadInt(u"General", u"GDIPunt", &value, 1);
  EXPECT_EQ(value, 1);
  char16_t out[8] = {u'x'};
  none.ReadString(u"General", u"Folder", out, u"", 8);
  EXPECT_EQ(out[0], 0);
}

class Registry : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    CreateUserSettingsKey();
  }
};

TEST_F(Registry, TypesMustMatchAndLongTextsAreCut) {
  SetRegString(u"GDIPunt", u"0");
  EXPECT_EQ(GetRegInt(u"GDIPunt", 1), 1u);  // a string is not a number
  SetRegInt(u"GDIPunt", 0);
  EXPECT_EQ(GetRegInt(u"GDIPunt", 1), 0u);
  EXPECT_EQ(GetRegInt(u"gdipunt", 5), 5u);  // the name must match exactly

  SetRegString(u"Folder", u"abcdef");
  char16_t out[4] = {u'x', u'x', u'x', u'x'};
  GetRegString(u"Folder", out, 4, u"");
  EXPECT_EQ(std::u16string(out, 4), u"abcd");  // no terminator
  char16_t fits[8];
  GetRegString(u"Folder", fits, 8, u"");
  EXPECT_EQ(std::u16string(fits), u"abcdef");
  SetRegInt(u"Folder", 3);
  GetRegString(u"Folder", fits, 8, u"dflt");
  EXPECT_EQ(std::u16string(fits), u"dflt");
}

TEST_F(Registry, CountryCodesChooseLetterOrA4) {
  const std::pair<const char16_t*, int> cases[] = {{u"1", 0},   {u"7", 1},   {u"52", 0},
                                                   {u"599", 0}, {u"600", 1}, {u"2", 0}};
  for (auto [code, metric] : cases) {
    snk::host::SetRegistryOverlayString(u"Control Panel\\International", u"iCountry", code);
    EXPECT_EQ(IsMetricDefault(), metric)
        << std::string(code, code + std::char_traits<char16_t>::length(code));
  }
}

TEST_F(Registry, PrinterBlocksNeverReachBeyondTheirBytes) {
  HANDLE printer = snk::host::OpenHostPrinter(u"Blocks");
  std::vector<uint8_t> block = {200, 0, 0, 0, 'A', 0, 0, 0};  // claims 200 bytes
  ASSERT_EQ(SetPrinterBlock(printer, u"FFaces", block), 1);
  std::vector<uint8_t> back;
  ASSERT_EQ(GetPrinterBlock(printer, u"FFaces", back), 1);
  EXPECT_EQ(back, block);
  EXPECT_EQ(SetPrinterBlock(printer, u"FFaces", {1, 0}), 0);
  EXPECT_EQ(GetPrinterBlock(printer, u"Missing", back), 0);
  snk::host::ClosePrinter(printer);
}

TEST(SettingsTable, IsConsistent) {
  std::set<std::string> names;
  for (const CKMC_SettingKey& key : SettingKeys()) {
    std::string name(key.name);
    EXPECT_TRUE(names.insert(name).second) << "twice: " << name;
    EXPECT_EQ(FindSettingKey(name), &key);
    if (key.type == SettingType::Int) {
      EXPECT_TRUE(snk::print::ParseIntValue(key.pagesDefault)) << name;
      EXPECT_TRUE(snk::print::ParseIntValue(key.driverDefault.value_or("0"))) << name;
    }
    EXPECT_EQ(key.store == SettingStore::Printer, name.starts_with("printer.")) << name;
    EXPECT_TRUE(key.type != SettingType::Faces || key.store == SettingStore::Printer) << name;
  }
  EXPECT_EQ(FindSettingKey("pdfa1b")->name, "PDFA1B");
  EXPECT_EQ(FindSettingKey("PRINTER.batch")->valueName, u"Batch");
  EXPECT_EQ(FindSettingKey("Batch"), nullptr);
  EXPECT_EQ(FindSettingKey("printer.Overwrite"), nullptr);
  EXPECT_EQ(DefaultOf(*FindSettingKey("PaperSize"), false), "9");
  EXPECT_EQ(DefaultOf(*FindSettingKey("PaperSize"), true), "1");
  EXPECT_EQ(DefaultOf(*FindSettingKey("FormName"), true), "Letter");
  EXPECT_EQ(DefaultOf(*FindSettingKey("OpenFile"), true), "1");
}

}  // namespace
