#include "services/core_module.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "modules/headfoot_module.h"
#include "modules/plugin_modules.h"
#include "modules/security_module.h"
#include "modules/uibase_module.h"
#include "modules/watermark_module.h"
#include "platform/win32.h"
#include "test_support.h"

namespace {

class CoreModule : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    CKMC_CoreModule::Shutdown();  // whatever an earlier test left running
    core_ = CKMC_CoreModule::Startup(nullptr, &RegisterPluginModules);
    ASSERT_NE(core_, nullptr);
  }
  void TearDown() override {
    CKMC_CoreModule::Shutdown();
    HostTest::TearDown();
  }

  std::vector<IKMC_PluginModule*> Walk() {
    std::vector<IKMC_PluginModule*> modules;
    for (size_t position = core_->HasPluginModules(); position;)
      modules.push_back(core_->GetNextPluginModule(position));
    return modules;
  }

  CKMC_CoreModule* core_ = nullptr;
};

// Counts the calls the core makes; owned by the test.
class CountingModule : public IKMC_PluginModule {
 public:
  void Release() override { ++released; }
  void LoadSettings() override { ++loaded; }
  void SaveSettings() override { ++saved; }
  bool IsEnabled() override { return false; }
  int ProcessDocument(CPDF_Document*, bool) override { return 1; }
  void CreatePages() override {}
  int released = 0, loaded = 0, saved = 0;
};

TEST_F(CoreModule, StartingTwiceKeepsOneCoreAndRegistersTheFourModulesOnceInOrder) {
  EXPECT_EQ(CKMC_CoreModule::Startup(nullptr, &RegisterPluginModules), core_);
  EXPECT_EQ(CKMC_CoreModule::Get(), core_);
  std::vector<IKMC_PluginModule*> modules = Walk();
  ASSERT_EQ(modules.size(), 4u);
  EXPECT_EQ(modules[0], CKMC_HeadFootModule::Instance());
  EXPECT_EQ(modules[1], CKMC_WaterMarkModule::Instance());
  EXPECT_EQ(modules[2], CKMC_UIBaseModule::Instance());
  EXPECT_EQ(modules[3], CKMC_SecurityModule::Instance());

  CKMC_CoreModule::Shutdown();
  EXPECT_EQ(CKMC_CoreModule::Get(), nullptr);
  EXPECT_EQ(CKMC_HeadFootModule::Instance(), nullptr);
  EXPECT_EQ(CKMC_SecurityModule::Instance(), nullptr);
  // A new start-up makes new modules, registered again.
  core_ = CKMC_CoreModule::Startup(nullptr, &RegisterPluginModules);
  EXPECT_EQ(Walk().size(), 4u);
  EXPECT_NE(CKMC_WaterMarkModule::Instance(), nullptr);
}

TEST_F(CoreModule, TheWalkIsOneBasedAndEndsAtZero) {
  auto* core = new CKMC_CoreModule(nullptr);  // not the process's core: no modules
  EXPECT_EQ(core->HasPluginModules(), 0u);
  size_t position = 0;
  EXPECT_EQ(core->GetNextPluginModule(position), nullptr);
  CountingModule a, b;
  core->AddPluginModule(&a);
  core->AddPluginModule(&b);
  core->AddPluginModule(&a);  // no test for duplicates
  position = core->HasPluginModules();
  EXPECT_EQ(position, 1u);
  EXPECT_EQ(core->GetNextPluginModule(position), &a);
  EXPECT_EQ(position, 2u);
  EXPECT_EQ(core->GetNextPluginModule(position), &b);
  EXPECT_EQ(core->GetNextPluginModule(position), &a);
  EXPECT_EQ(position, 0u);
  position = 9;
  EXPECT_EQ(core->GetNextPluginModule(position), nullptr);

  core->Release();
  EXPECT_EQ(a.released, 2);
  EXPECT_EQ(b.released, 1);
  EXPECT_EQ(CKMC_CoreModule::Get(), core_);  // releasing another core leaves the global alone
}

TEST_F(CoreModule, ModulesAreEnabledAsTheSettingsFileSays) {
  // No settings file: AddHeadfoot counts as 10, the others as 0.
  EXPECT_TRUE(CKMC_HeadFootModule::Instance()->IsEnabled());
  EXPECT_FALSE(CKMC_WaterMarkModule::Instance()->IsEnabled());
  EXPECT_FALSE(CKMC_UIBaseModule::Instance()->IsEnabled());
  EXPECT_FALSE(CKMC_SecurityModule::Instance()->IsEnabled());

  IKMC_DataExchange* settings = core_->GetDataExchange();
  ASSERT_TRUE(settings->CreateFile());
  EXPECT_TRUE(CKMC_HeadFootModule::Instance()->IsEnabled());  // a file without the key
  settings->WriteInt(u"HeadAndFoot", u"AddHeadfoot", 0);
  settings->WriteInt(u"WaterMark", u"AddWatermark", 1);
  settings->WriteInt(u"Security", u"EncryptType", 2);
  EXPECT_FALSE(CKMC_HeadFootModule::Instance()->IsEnabled());
  EXPECT_TRUE(CKMC_WaterMarkModule::Instance()->IsEnabled());
  EXPECT_TRUE(CKMC_SecurityModule::Instance()->IsEnabled());
  EXPECT_FALSE(CKMC_UIBaseModule::Instance()->IsEnabled());
  EXPECT_EQ(CKMC_SecurityModule::Instance()->ProcessDocument(nullptr, false), 1);
  settings->DeleteFile();
}

TEST_F(CoreModule, FontNamesPairAlternatesWithTheFollowingFace) {
  std::vector<CKM_WideString> names = {u"Arial Black",     u" ArialMT",        u"Arial",       u"Arial",
                                       u"Times New Roman", u" Courier New PS", u"Courier New", u" Orphan"};
  // The table as the installed faces left it is emptied first, and given
  // back at the end for the tests that print text.
  struct Restore {
    CKMC_CoreModule* core;
    std::vector<CKMC_FontNamePair> pairs;
    ~Restore() { core->SetFontNames(std::move(pairs)); }
  } restore{core_, core_->GetFontNameList()};
  core_->SetFontNames({});
  core_->LoadFontNames(names);
  const auto& pairs = core_->GetFontNameList();
  ASSERT_EQ(pairs.size(), 4u);
  EXPECT_EQ(pairs[1].FaceName, CKM_WideString(u"Arial"));
  EXPECT_EQ(pairs[1].AlternateName, CKM_WideString(u"ArialMT"));
  EXPECT_EQ(pairs[3].FaceName, CKM_WideString(u"Courier New"));
  core_->LoadFontNames(std::vector<CKM_WideString>{u"Other"});  // filled already
  EXPECT_EQ(core_->GetFontNameList().size(), 4u);

  // The exact face wins over an earlier pair that contains the name.
  EXPECT_EQ(core_->GetFontAlternateName(u"Arial"), CKM_WideString(u"ArialMT"));
  EXPECT_EQ(core_->GetFontAlternateName(u"Arial Black Italic"), CKM_WideString(u"Arial Black"));
  EXPECT_EQ(core_->GetFontAlternateName(u"Times"), CKM_WideString(u"Times New Roman"));
  EXPECT_TRUE(core_->GetFontAlternateName(u"Verdana").IsEmpty());
  EXPECT_TRUE(core_->GetFontAlternateName(u"").IsEmpty());

  EXPECT_EQ(core_->GetFontFaceName(u"Times-New Roman"), CKM_WideString(u"Times New Roman"));
  EXPECT_EQ(core_->GetFontFaceName(u"Courier-New-PS"), CKM_WideString(u"Courier New"));
  EXPECT_EQ(core_->GetFontFaceName(u"ArialBlack"), CKM_WideString(u"Arial Black"));
  EXPECT_TRUE(core_->GetFontFaceName(u"Arial Narrow").IsEmpty());
  EXPECT_TRUE(core_->GetFontFaceName(u" - ").IsEmpty());
}

TEST_F(CoreModule, FontNamesComeFromTheInstalledFaces) {
  // The mapper answers its first request with the empty list it had; from
  // then on every module sees the installed faces, the DejaVu family among
  // them, each its own alternate name.
  CKMC_CoreModule core(nullptr);
  const auto& pairs = core.GetFontNameList();
  ASSERT_FALSE(pairs.empty());
  EXPECT_EQ(core.GetFontAlternateName(u"DejaVu Sans"), CKM_WideString(u"DejaVu Sans"));
}

TEST_F(CoreModule, VirtualizedPathsTakeOnlyDrivePathsUnder256Characters) {
  std::filesystem::create_directories(Dir() / "local");
  snk::test::ScopedEnv data("XDG_DATA_HOME", (Dir() / "local").c_str());
  char16_t out[kVirtualizedPathCapacity];
  ASSERT_EQ(core_->GetVirtualizedPath(u"C:\\a\\b.ini", out), 1);
  EXPECT_EQ(std::u16string(out),
            Path("local") + u"\\Microsoft\\Windows\\Temporary Internet Files\\Virtualized\\C\\a\\b.ini");
  EXPECT_EQ(core_->GetVirtualizedPath(u"\\\\server\\share\\b.ini", out), 0);
  EXPECT_EQ(core_->GetVirtualizedPath(u"C:a\\b.ini", out), 0);
  EXPECT_EQ(core_->GetVirtualizedPath(u"/home/b.ini", out), 0);
  std::u16string longPath = u"D:\\" + std::u16string(253, u'x');  // 256 characters
  EXPECT_EQ(core_->GetVirtualizedPath(longPath.c_str(), out), 0);
  // Short enough as a path, too long once moved below the folder.
  longPath.pop_back();
  EXPECT_EQ(core_->GetVirtualizedPath(longPath.c_str(), out), 0);
}

TEST_F(CoreModule, ApplySettingsActsOnlyWhenDirty) {
  // A drive path, so that the settings file has a virtualized twin; on
  // this host it is relative to the working folder.
  std::filesystem::create_directories(Dir() / "work" / "C:");
  std::filesystem::create_directories(Dir() / "local");
  std::filesystem::path cwd = std::filesystem::current_path();
  std::filesystem::current_path(Dir() / "work");
  snk::test::ScopedEnv data("XDG_DATA_HOME", (Dir() / "local").c_str());
  std::ofstream(Dir() / "work" / "C:" / "job.ini") << "settings";
  std::filesystem::path twin =
      Dir() / "local" / "Microsoft" / "Windows" / "Temporary Internet Files" / "Virtualized" / "C";
  std::filesystem::create_directories(twin);
  core_->GetDataExchange()->SetFileName(u"C:\\job.ini");

  CountingModule module;
  core_->AddPluginModule(&module);
  EXPECT_EQ(core_->IsDirty(), 1);  // a new core starts dirty
  core_->ClearDirty();
  core_->ApplySettings();
  EXPECT_EQ(module.loaded, 0);
  EXPECT_EQ(core_->IsDirty(), 0);
  EXPECT_FALSE(std::filesystem::exists(twin / "job.ini"));

  core_->SetDirty();
  core_->ApplySettings();
  EXPECT_EQ(module.loaded, 1);
  EXPECT_EQ(core_->IsDirty(), 0);
  EXPECT_EQ(snk::test::ReadFile(twin / "job.ini"), "settings");
  core_->SaveSettings();
  EXPECT_EQ(module.saved, 1);

  std::filesystem::current_path(cwd);
  CKMC_CoreModule::Shutdown();
  EXPECT_EQ(module.released, 1);
}

TEST_F(CoreModule, StartUpCreatesTheUsersSettingsKey) {
  HKEY key = nullptr;
  ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, UserSettingsKeyPath().c_str(), 0, KEY_READ, &key),
            ERROR_SUCCESS);
  RegCloseKey(key);
}

TEST_F(CoreModule, LanguageStringsNeedACore) {
  char16_t text[64];
  EXPECT_TRUE(LoadLanguageString(3211, text, 64));
  EXPECT_EQ(std::u16string(text), u"Kelmo PDF Forge");
  CKMC_CoreModule::Shutdown();
  EXPECT_FALSE(LoadLanguageString(3211, text, 64));
  EXPECT_EQ(text[0], 0);
}

}  // namespace
