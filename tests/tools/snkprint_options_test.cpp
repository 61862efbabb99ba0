// snkprint's command line, its key table, the job's settings file and the
// config command.
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/system/host_control.h"
#include "services/data_exchange.h"
#include "test_support.h"
#include "tools/snkprint/config_command.h"
#include "tools/snkprint/job_settings.h"
#include "tools/snkprint/messages.h"
#include "tools/snkprint/options.h"
#include "tools/snkprint/setting_keys.h"

namespace snk::print {
namespace {

std::optional<Options> Parse(std::vector<std::string> args, std::string* error = nullptr) {
  std::string ignored;
  args.insert(args.begin(), "snkprint");
  std::vector<char*> argv;
  for (auto& a : args) argv.push_back(a.data());
  return ParseOptions(static_cast<int>(argv.size()), argv.data(), error ? error : &ignored);
}

TEST(SnkprintOptions, JobOptionsAreParsed) {
  auto o = Parse({"a.emf", "--info-title", "T", "--info-author", "A", "--pdfa", "--pdf-version", "1.7",
                  "--embed", "3", "--folder", "out", "--no-overwrite", "--default-name", "--no-open",
                  "--keep-settings"});
  ASSERT_TRUE(o);
  EXPECT_EQ(o->pages, std::vector<std::string>{"a.emf"});
  EXPECT_EQ(o->job.infoTitle, "T");
  EXPECT_EQ(o->job.infoAuthor, "A");
  EXPECT_FALSE(o->job.infoSubject);
  EXPECT_TRUE(o->job.AddsDocumentInfo());
  EXPECT_EQ(o->job.pdfa, true);
  EXPECT_EQ(o->job.pdfVersion, 17);
  EXPECT_EQ(o->job.embed, 3);
  EXPECT_EQ(o->job.folder, "out");
  EXPECT_EQ(o->job.overwrite, false);
  EXPECT_EQ(o->job.useDefaultName, true);
  EXPECT_EQ(o->job.openFile, false);
  EXPECT_TRUE(o->job.keepSettings);
  EXPECT_FALSE(o->dpi);

  // The last of two opposite switches counts.
  o = Parse({"a.emf", "--default-name", "--ask", "--open", "--no-open", "--open"});
  ASSERT_TRUE(o);
  EXPECT_EQ(o->job.useDefaultName, false);
  EXPECT_EQ(o->job.openFile, true);
  EXPECT_FALSE(o->job.AddsDocumentInfo());
}

TEST(SnkprintOptions, BadValuesAreRefusedWithTheValue) {
  std::string error;
  for (const char* v : {"1.2", "1.8", "2.0", "14", "1.", "1.45"}) {
    EXPECT_FALSE(Parse({"a.emf", "--pdf-version", v}, &error)) << v;
    EXPECT_NE(error.find(v), std::string::npos) << error;
  }
  for (const char* v : {"4", "-1", "x", "2x", ""}) EXPECT_FALSE(Parse({"a.emf", "--embed", v}, &error)) << v;
  EXPECT_FALSE(Parse({"a.emf", "--dpi", "0"}, &error));
  EXPECT_FALSE(Parse({"a.emf", "--info-title"}, &error));
  EXPECT_EQ(error, "--info-title needs a value");
  EXPECT_FALSE(Parse({"a.emf", "--pdfa=1"}, &error));
  EXPECT_EQ(error, "unknown option --pdfa=1");
  EXPECT_FALSE(Parse({"--pdfa"}, &error));
  EXPECT_EQ(error, "no pages to print");
  EXPECT_FALSE(Parse({"a.emf", "--max-surface", "0"}, &error));
  EXPECT_EQ(Parse({"a.emf", "--max-surface", "64"})->maxSurfaceMb, 64);
  // The per-run overlay covers the user's settings only.
  EXPECT_FALSE(Parse({"a.emf", "--set", "Printer.FFaces=Arial"}, &error));
  EXPECT_NE(error.find("snkprint config set Printer.FFaces VALUE"), std::string::npos) << error;
  // A value may itself start with a dash.
  auto o = Parse({"a.emf", "--info-title", "-x-"});
  ASSERT_TRUE(o);
  EXPECT_EQ(o->job.infoTitle, "-x-");
}

TEST(SnkprintOptions, ConfigVerbsAndTheirOperands) {
  auto o = Parse({"config", "set", "printer.FFaces", "Arial,Times New Roman"});
  ASSERT_TRUE(o && o->config);
  EXPECT_EQ(o->config->verb, ConfigCommand::Verb::Set);
  EXPECT_EQ(o->config->name, "printer.FFaces");
  EXPECT_EQ(o->config->value, "Arial,Times New Roman");
  o = Parse({"config", "list"});
  ASSERT_TRUE(o && o->config);
  EXPECT_EQ(o->config->verb, ConfigCommand::Verb::List);
  std::string error;
  for (auto args : std::vector<std::vector<std::string>>{
           {"config"}, {"config", "show"}, {"config", "get"}, {"config", "set", "Overwrite"},
           {"config", "list", "x"}, {"config", "unset", "a", "b"}}) {
    EXPECT_FALSE(Parse(args, &error));
    EXPECT_EQ(error, FormatMessage(Msg::ConfigUsage));
  }
}

TEST(SnkprintOptions, UsageNamesEveryOption) {
  std::string usage = UsageText();
  for (const char* name :
       {"--output", "--title", "--paper", "--dpi", "--info-title", "--info-author", "--info-subject",
        "--info-keywords", "--info-creator", "--pdfa", "--no-pdfa", "--pdf-version", "--embed", "--folder",
        "--overwrite", "--no-overwrite", "--default-name", "--ask", "--open", "--no-open",
        "--keep-settings", "--set", "--driver", "--verbose", "--help", "config list"})
    EXPECT_NE(usage.find(name), std::string::npos) << name;
}

TEST(SnkprintKeys, EveryFileTwinHasAKnownUserValue) {
  std::set<std::u16string> fileKeys;
  for (const FileTwin& twin : FileTwins()) {
    const CKMC_SettingKey* key = FindSettingKey(twin.registryName);
    ASSERT_NE(key, nullptr) << twin.registryName;
    EXPECT_EQ(key->store, SettingStore::User);
    EXPECT_TRUE(fileKeys.insert(std::u16string(twin.section) + u"/" + std::u16string(twin.fileKey)).second);
  }
  // The spellings the driver reads.
  for (const char16_t* k : {u"General/IgonareBK", u"General/UseDefaultFile", u"General/MergeImage",
                            u"Font/Embed", u"DocumentInfo/IsAddDocInfo", u"DocumentInfo/KeyWords",
                            u"WaterMark/TextRotation", u"HeadAndFoot/AddHeadfoot"})
    EXPECT_TRUE(fileKeys.count(k));
}

TEST(SnkprintKeys, IntValues) {
  EXPECT_EQ(ParseIntValue("0"), 0u);
  EXPECT_EQ(ParseIntValue("4294967295"), 0xFFFFFFFFu);
  EXPECT_EQ(ParseIntValue("-1"), 0xFFFFFFFFu);
  EXPECT_EQ(ParseIntValue("-2147483648"), 0x80000000u);
  EXPECT_EQ(ParseIntValue("0xFFFFFF"), 0xFFFFFFu);
  EXPECT_EQ(ParseIntValue("+7"), 7u);
  for (const char* bad : {"", "-", "0x", "4294967296", "-2147483649", "1.5", "12a", " 1", "--1", "-+1", "0x-1", "abc"})
    EXPECT_FALSE(ParseIntValue(bad)) << bad;
  EXPECT_EQ(FormatIntValue(0xFFFFFFFFu), "-1");
  EXPECT_EQ(FormatIntValue(17), "17");
}

TEST(SnkprintKeys, FaceBlocks) {
  auto faces = SplitFaceList(u" Arial ,Times New Roman,, ");
  ASSERT_EQ(faces, (std::vector<std::u16string>{u"Arial", u"Times New Roman"}));
  auto block = BuildFaceBlock(faces);
  ASSERT_EQ(block.size(), 4u + 2 * (6 + 16));
  EXPECT_EQ(block[0], block.size());
  EXPECT_EQ(block[1] | block[2] | block[3], 0);
  EXPECT_EQ(block[4], 'A');
  EXPECT_EQ(block[4 + 2 * 5], 0);  // the end of "Arial"
  auto parsed = ParseFaceBlock(block);
  EXPECT_EQ(parsed.faces, faces);
  EXPECT_FALSE(parsed.sizeMismatch);

  EXPECT_EQ(BuildFaceBlock({}), (std::vector<uint8_t>{4, 0, 0, 0}));
  EXPECT_TRUE(ParseFaceBlock(BuildFaceBlock({})).faces.empty());

  // A size that claims more than the block holds reads what is there; one
  // that claims less cuts the list; an odd byte and a missing end are kept
  // out of trouble.
  auto lying = block;
  lying[0] = 200;
  parsed = ParseFaceBlock(lying);
  EXPECT_TRUE(parsed.sizeMismatch);
  EXPECT_EQ(parsed.faces, faces);
  lying[0] = 4 + 2 * 3;
  parsed = ParseFaceBlock(lying);
  EXPECT_EQ(parsed.faces, std::vector<std::u16string>{u"Ari"});
  EXPECT_TRUE(ParseFaceBlock(std::vector<uint8_t>{0xFF, 0xFF}).sizeMismatch);
  EXPECT_TRUE(ParseFaceBlock(std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0xFF, 'A', 0, 'B'}).faces.size() == 1);
}

TEST(SnkprintMessages, NumbersAreSnkprintsAndUnique) {
  std::set<int> ids;
  for (const auto& entry : Messages()) {
    int id = static_cast<int>(entry.id);
    EXPECT_GE(id, 2300);
    EXPECT_LE(id, 2399);
    EXPECT_TRUE(ids.insert(id).second) << id;
    EXPECT_FALSE(entry.text.empty()) << id;
  }
  EXPECT_EQ(FormatMessage(Msg::WrongIntType, {"Overwrite", "yes"}).find("Overwrite takes an int"), 0u);
  EXPECT_EQ(FormatMessage(Msg::Printed, {}), "printed %s page(s)");
}

// --- the values of one run

std::map<std::u16string, RunValue> Last(const std::vector<RunValue>& values) {
  std::map<std::u16string, RunValue> last;
  for (const auto& v : values) last[v.name] = v;
  return last;
}

TEST(SnkprintRunValues, FolderAndNamingRules) {
  // --folder alone: the file goes into the folder under its default name.
  auto v = Last(JobOptionValues(*Parse({"a.emf", "--folder", "/d"}), u"/cwd", false));
  EXPECT_EQ(v[u"Folder"].text, u"/d");
  EXPECT_EQ(v[u"UseDefFileName"].number, 1u);
  // ... unless the user wants to be asked.
  v = Last(JobOptionValues(*Parse({"a.emf", "--folder", "/d", "--ask"}), u"/cwd", false));
  EXPECT_EQ(v[u"UseDefFileName"].number, 0u);
  // --default-name without a folder anywhere uses the current folder.
  v = Last(JobOptionValues(*Parse({"a.emf", "--default-name"}), u"/cwd", false));
  EXPECT_EQ(v[u"Folder"].text, u"/cwd");
  EXPECT_TRUE(v[u"Folder"].isText);
  v = Last(JobOptionValues(*Parse({"a.emf", "--default-name"}), u"/cwd", true));
  EXPECT_FALSE(v.count(u"Folder"));
  // -o names the file, whatever else is asked.
  v = Last(JobOptionValues(*Parse({"a.emf", "--default-name", "--folder", "/d", "-o", "x.pdf"}), u"/cwd", false));
  EXPECT_EQ(v[u"UseDefFileName"].number, 0u);
  EXPECT_EQ(v[u"Folder"].text, u"/d");
  // Nothing asked, nothing laid over.
  EXPECT_TRUE(JobOptionValues(*Parse({"a.emf"}), u"/cwd", false).empty());
}

TEST(SnkprintRunValues, JobOptionsComeAfterSet) {
  auto o = *Parse({"a.emf", "--set", "PDFA1B=0", "--set", "Folder=12x", "--set", "FontEmbed=4294967296",
                   "--pdfa", "--pdf-version", "1.5", "--embed", "0", "--overwrite", "--no-open"});
  auto set = SetOptionValues(o);
  ASSERT_EQ(set.size(), 3u);
  EXPECT_FALSE(set[0].isText);
  EXPECT_TRUE(set[1].isText);
  EXPECT_TRUE(set[2].isText);  // too large for a number
  auto job = Last(JobOptionValues(o, u"/cwd", true));
  EXPECT_EQ(job[u"PDFA1B"].number, 1u);
  EXPECT_EQ(job[u"PDFVersion"].number, 15u);
  EXPECT_EQ(job[u"FontEmbed"].number, 0u);
  EXPECT_EQ(job[u"Overwrite"].number, 1u);
  EXPECT_EQ(job[u"OpenFile"].number, 0u);
}

// --- the settings file and the config command against a fresh store

// Records what would go to the settings file.
class RecordingFile : public IKMC_DataExchange {
 public:
  std::map<std::u16string, std::u16string> strings;
  std::map<std::u16string, int> ints;
  static std::u16string Key(const char16_t* s, const char16_t* k) { return std::u16string(s) + u"/" + k; }
  int CreateFile() override { return 1; }
  int DeleteFile() override { return 1; }
  void SetFileName(const char16_t*) override {}
  int FileExists() override { return 1; }
  const char16_t* GetFileName() override { return u""; }
  int WriteString(const char16_t* s, const char16_t* k, const char16_t* v) override {
    strings[Key(s, k)] = v;
    return 1;
  }
  int ReadString(const char16_t*, const char16_t*, char16_t*, const char16_t*, int) override { return 0; }
  int WriteInt(const char16_t* s, const char16_t* k, int v) override {
    ints[Key(s, k)] = v;
    return 1;
  }
  int ReadInt(const char16_t*, const char16_t*, int*, int) override { return 0; }
  int WriteFloat(const char16_t*, const char16_t*, float) override { return 0; }
  int ReadFloat(const char16_t*, const char16_t*, float*, float) override { return 0; }
  int WriteStringA(const char16_t*, const char16_t*, const char*) override { return 0; }
  int ReadStringA(const char16_t*, const char16_t*, char*, const char*, int) override { return 0; }
  int WriteStruct(const char16_t*, const char16_t*, const void*, int) override { return 0; }
  int ReadStruct(const char16_t*, const char16_t*, void*, int) override { return 0; }
};

class SnkprintStoreTest : public snk::test::HostTest {
 protected:
  void TearDown() override {
    snk::host::ClearRegistryOverlay();
    HostTest::TearDown();
  }
  // Runs a config command; returns {exit, stdout, stderr}.
  std::tuple<int, std::string, std::string> Config(std::vector<std::string> args) {
    args.insert(args.begin(), "config");
    auto o = Parse(args);
    EXPECT_TRUE(o && o->config);
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    int rc = RunConfigCommand(*o->config, out, err);
    auto text = [](std::FILE* f) {
      std::string s;
      std::rewind(f);
      for (int c; (c = std::fgetc(f)) != EOF;) s += static_cast<char>(c);
      std::fclose(f);
      return s;
    };
    std::string o1 = text(out), e1 = text(err);
    return {rc, o1, e1};
  }
};

TEST_F(SnkprintStoreTest, SettingsFileMirrorsTheStoreAndTheJob) {
  CreateUserSettingsKey();
  SetRegString(u"DocAuthor", u"  stored author ");
  SetRegInt(u"AddWatermark", 1);
  auto o = *Parse({"a.emf", "--info-title", "Job title", "--pdfa", "--folder", "/out"});
  ApplyRunValues(SetOptionValues(o));
  ApplyRunValues(JobOptionValues(o, u"/cwd", false));
  RecordingFile file;
  WriteJobSettings(file, o.job);

  EXPECT_EQ(file.strings[u"General/Folder"], u"/out");
  EXPECT_EQ(file.ints[u"General/UseDefaultFile"], 1);
  EXPECT_EQ(file.ints[u"General/PDFA1B"], 1);
  EXPECT_EQ(file.ints[u"General/PDFVersion"], 14);
  EXPECT_EQ(file.ints[u"Font/Embed"], 2);
  EXPECT_EQ(file.ints[u"DocumentInfo/IsAddDocInfo"], 1);
  EXPECT_EQ(file.strings[u"DocumentInfo/Title"], u"Job title");
  EXPECT_EQ(file.strings[u"DocumentInfo/Author"], u"  stored author ");
  EXPECT_EQ(file.strings[u"DocumentInfo/Subject"], u"");
  EXPECT_EQ(file.ints[u"WaterMark/AddWatermark"], 1);
  // Written even when nothing is stored: a missing key would turn the
  // header and footer on.
  ASSERT_TRUE(file.ints.count(u"HeadAndFoot/AddHeadfoot"));
  EXPECT_EQ(file.ints[u"HeadAndFoot/AddHeadfoot"], 0);
  EXPECT_EQ(file.ints[u"WaterMark/WatermarkType"], 1);
  EXPECT_EQ(file.ints.size() + file.strings.size(), FileTwins().size());
}

TEST_F(SnkprintStoreTest, ConfigRoundTripsAndRefuses) {
  EXPECT_EQ(std::get<0>(Config({"set", "overwrite", "1"})), 0);
  EXPECT_EQ(GetRegInt(u"Overwrite", 0), 1u);
  EXPECT_EQ(std::get<1>(Config({"get", "Overwrite"})), "1\n");
  EXPECT_EQ(std::get<0>(Config({"set", "HeadfootColor", "0xFF"})), 0);
  EXPECT_EQ(std::get<1>(Config({"get", "HeadfootColor"})), "255\n");
  EXPECT_EQ(std::get<0>(Config({"set", "Folder", " /a b "})), 0);
  EXPECT_EQ(std::get<1>(Config({"get", "Folder"})), " /a b \n");
  EXPECT_EQ(std::get<0>(Config({"unset", "Overwrite"})), 0);
  EXPECT_EQ(std::get<1>(Config({"get", "Overwrite"})), "0\n");
  EXPECT_EQ(std::get<0>(Config({"unset", "Overwrite"})), 0);  // twice is fine

  auto [rc, out, err] = Config({"set", "Overwrite", "yes"});
  EXPECT_EQ(rc, 2);
  EXPECT_NE(err.find("Overwrite takes an int"), std::string::npos) << err;
  std::tie(rc, out, err) = Config({"get", "NoSuchKey"});
  EXPECT_EQ(rc, 2);
  EXPECT_NE(err.find("unknown key \"NoSuchKey\""), std::string::npos) << err;
  std::tie(rc, out, err) = Config({"set", "Folder", std::string(kMaxSettingText + 1, 'x')});
  EXPECT_EQ(rc, 2);
  EXPECT_EQ(GetRegInt(u"Overwrite", 7), 7u);
}

TEST_F(SnkprintStoreTest, WrongTypedStoredValuesShowTheirDefault) {
  CreateUserSettingsKey();
  SetRegString(u"OpenFile", u"0");  // a text where a number belongs
  auto [rc, out, err] = Config({"get", "OpenFile"});
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(out, "1\n");
  EXPECT_NE(err.find("not of type int"), std::string::npos) << err;
  std::tie(rc, out, err) = Config({"list"});
  EXPECT_NE(out.find("OpenFile               int     (default: 1; the stored value is not of type int"),
            std::string::npos)
      << out;
  EXPECT_NE(out.find("Folder                 string  (default: \"\")"), std::string::npos) << out;
}

TEST_F(SnkprintStoreTest, PrinterValues) {
  EXPECT_EQ(std::get<0>(Config({"set", "printer.FFaces", "Arial, Times New Roman"})), 0);
  EXPECT_EQ(std::get<1>(Config({"get", "printer.FFaces"})), "Arial,Times New Roman\n");
  EXPECT_EQ(std::get<0>(Config({"set", "printer.DestName", "out"})), 0);
  EXPECT_EQ(std::get<0>(Config({"set", "printer.Batch", "1"})), 0);
  HANDLE printer = snk::host::OpenHostPrinter(u"Kelmo PDF Forge");
  EXPECT_EQ(GetPrinterString(printer, u"DestName", 520).str(), u"out");
  EXPECT_EQ(GetPrinterInt(printer, u"Batch", 0), 1u);
  std::vector<uint8_t> block;
  ASSERT_EQ(GetPrinterBlock(printer, u"FFaces", block), 1);
  EXPECT_EQ(ParseFaceBlock(block).faces.size(), 2u);

  // A block whose size word lies is read as far as it goes, with a note.
  std::vector<BYTE> lying = {0x00, 0x10, 0, 0, 'A', 0, 0, 0};
  SetPrinterDataExW(printer, u"PrinterDriverData", u"FFaces", REG_BINARY, lying.data(), 8);
  auto [rc, out, err] = Config({"get", "printer.FFaces"});
  EXPECT_EQ(out, "A\n");
  EXPECT_NE(err.find("claims 4096 bytes but holds 8"), std::string::npos) << err;

  EXPECT_EQ(std::get<0>(Config({"unset", "printer.Batch"})), 0);
  EXPECT_EQ(GetPrinterInt(printer, u"Batch", 5), 0u);
  EXPECT_EQ(std::get<0>(Config({"set", "printer.FontEmbed", "two"})), 2);
  snk::host::ClosePrinter(printer);
}

}  // namespace
}  // namespace snk::print
