#include <gtest/gtest.h>

#include <cstring>

#include "driver/driver_entry.h"
#include "platform/win32.h"
#include "services/core_module.h"
#include "test_support.h"

namespace {

class DriverEntry : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    OnModuleAttach(nullptr);
  }
  void TearDown() override {
    OnModuleDetach();
    HostTest::TearDown();
  }
  template <typename F>
  F Get(ULONG index) {
    DRVENABLEDATA data{};
    DrvEnableDriver(0, sizeof data, &data);
    for (ULONG i = 0; i < data.c; ++i)
      if (data.pdrvfn[i].iFunc == index) return reinterpret_cast<F>(data.pdrvfn[i].pfn);
    return nullptr;
  }
};

TEST_F(DriverEntry, EnableDriverGivesTheTableOf28InItsOrder) {
  DRVENABLEDATA data{7, 7, nullptr};
  SetLastError(0);
  EXPECT_FALSE(DrvEnableDriver(0, 15, &data));
  EXPECT_EQ(GetLastError(), 87u);
  EXPECT_EQ(data.c, 7u);  // untouched
  EXPECT_EQ(data.pdrvfn, nullptr);

  ASSERT_TRUE(DrvEnableDriver(0, 16, &data));
  EXPECT_EQ(data.iDriverVersion, 0x00030000u);
  ASSERT_EQ(data.c, 28u);
  const ULONG order[] = {8, 0, 7, 1, 2, 3, 4, 24, 31, 14, 16, 15, 19, 12, 70, 18, 20, 69, 71, 68, 74, 37, 23, 32, 33, 35, 34, 76};
  for (ULONG i = 0; i < 28; ++i) {
    EXPECT_EQ(data.pdrvfn[i].iFunc, order[i]) << "slot " << i;
    EXPECT_NE(data.pdrvfn[i].pfn, nullptr);
  }
}

TEST_F(DriverEntry, QueryDriverInfoAnswersOnlyTheUserModeQuery) {
  DWORD buffer = 0, needed = 99;
  EXPECT_TRUE(DrvQueryDriverInfo(1, &buffer, 4, &needed));
  EXPECT_EQ(buffer, 1u);
  EXPECT_EQ(needed, 99u);  // left alone on success
  EXPECT_FALSE(DrvQueryDriverInfo(1, &buffer, 3, &needed));
  EXPECT_EQ(needed, 4u);
  EXPECT_EQ(GetLastError(), 87u);
  needed = 0;
  EXPECT_FALSE(DrvQueryDriverInfo(2, &buffer, 4, &needed));
  EXPECT_EQ(needed, 4u);
  EXPECT_FALSE(DrvQueryDriverInfo(2, &buffer, 4, nullptr));
}

TEST_F(DriverEntry, EscapeQueryDeniesWhatTheCallAccepts) {
  auto escape = Get<PFN_DrvEscape>(INDEX_DrvEscape);
  ULONG asked = 6003;
  EXPECT_EQ(escape(nullptr, 8, 4, &asked, 0, nullptr), 0u);
  asked = 6001;
  EXPECT_EQ(escape(nullptr, 8, 4, &asked, 0, nullptr), 1u);
  asked = 6002;
  EXPECT_EQ(escape(nullptr, 8, 4, &asked, 0, nullptr), 1u);
  EXPECT_EQ(escape(nullptr, 8, 2, &asked, 0, nullptr), 0u);  // too short to read
  EXPECT_EQ(escape(nullptr, 6003, 0, nullptr, 0, nullptr), 1u);
  EXPECT_EQ(escape(nullptr, 6004, 0, nullptr, 0, nullptr), 0u);
}

TEST_F(DriverEntry, SmallEntriesAnswerAsTheEngineExpects) {
  auto realize = Get<PFN_DrvRealizeBrush>(INDEX_DrvRealizeBrush);
  EXPECT_TRUE(realize(nullptr, nullptr, nullptr, nullptr, nullptr, 0));
  auto support = Get<PFN_DrvQueryDeviceSupport>(INDEX_DrvQueryDeviceSupport);
  ULONG in = 1;
  EXPECT_FALSE(support(nullptr, nullptr, nullptr, 0, 4, &in, 0, nullptr));
  EXPECT_FALSE(support(nullptr, nullptr, nullptr, 0, 0, nullptr, 0, nullptr));
  // Drawing on a surface that carries no device draws nothing and succeeds.
  SURFOBJ bare{};
  auto bitblt = Get<PFN_DrvBitBlt>(INDEX_DrvBitBlt);
  EXPECT_TRUE(bitblt(&bare, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0));
  auto reset = Get<PFN_DrvResetPDEV>(INDEX_DrvResetPDEV);
  EXPECT_TRUE(reset(nullptr, nullptr));
}

TEST_F(DriverEntry, AFailureShowsOneBoxNamingTheEntryAndTheNextCallWorks) {
  BOOL result = Guarded(u"DrvBitBlt", FALSE, []() -> BOOL { throw std::bad_alloc(); });
  EXPECT_FALSE(result);
  ASSERT_EQ(boxes_.size(), 1u);
  EXPECT_EQ(boxes_[0].caption, u"Kelmo PDF Forge");
  std::u16string text = boxes_[0].text;
  EXPECT_EQ(text.find(u"Error happened to Kelmo Lantern Printer. Your PDF document might not be "
                      u"complete.\n\nError tag = \"DrvBitBlt\".\n\nPlease report this error to Kelmo ("),
            0u);
  EXPECT_NE(text.find(u"). Thanks!"), std::u16string::npos);
  EXPECT_EQ(boxes_[0].type, MB_OK);

  EXPECT_TRUE(Guarded(u"DrvBitBlt", FALSE, []() -> BOOL { return TRUE; }));
  EXPECT_EQ(boxes_.size(), 1u);
}

TEST_F(DriverEntry, WithoutALanguageAFailureIsSilent) {
  CKMC_CoreModule::Get()->SetLanguage(nullptr);
  EXPECT_EQ(Guarded(u"DrvTextOut", 1, []() -> int { throw 1; }), 1);
  EXPECT_TRUE(boxes_.empty());
}

}  // namespace
