// The table of persistent settings.
#include "services/settings_table.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tools/snkprint/setting_keys.h"

namespace {

using snk::print::ParseIntValue;

TEST(SettingsTable, IsConsistent) {
  std::set<std::string> names;
  for (const CKMC_SettingKey& key : SettingKeys()) {
    std::string name(key.name);
    EXPECT_TRUE(names.insert(name).second) << "twice: " << name;
    EXPECT_EQ(FindSettingKey(name), &key);
    if (key.type == SettingType::Int) {
      EXPECT_TRUE(ParseIntValue(key.pagesDefault)) << name;
      EXPECT_TRUE(ParseIntValue(key.driverDefault.value_or("0"))) << name;
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
  // The driver's default is the one shown where the pages have another.
  EXPECT_EQ(FindSettingKey("PDFVersion")->pagesDefault, "17");
  EXPECT_EQ(DefaultOf(*FindSettingKey("PDFVersion"), false), "14");
}

}  // namespace
