// Message boxes and the save dialog under the host's policy.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "host/system/host_control.h"
#include "platform/win32.h"

namespace {

using snk::host::UiPolicy;

class UiTest : public ::testing::Test {
 protected:
  void TearDown() override {
    snk::host::SetUiPolicy(UiPolicy{});
    snk::host::SetMessageBoxHook(nullptr);
  }

  // A policy that answers questions from `answers` (nullopt = end of input)
  // and records the prompts.
  UiPolicy Scripted(std::deque<std::optional<std::u16string>> answers) {
    UiPolicy policy;
    policy.interactive = true;
    policy.ask = [this, answers](std::u16string_view prompt) mutable {
      prompts_.emplace_back(prompt);
      auto a = answers.empty() ? std::nullopt : answers.front();
      if (!answers.empty()) answers.pop_front();
      return a;
    };
    return policy;
  }

  std::vector<std::u16string> prompts_;
};

TEST_F(UiTest, MessageBoxesAnswerByPolicy) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(MessageBoxW(nullptr, u"Line 1\nLine 2", u"Caption", MB_OK), IDOK);
  EXPECT_EQ(MessageBoxW(nullptr, u"Overwrite?", u"\u00dcbersicht", MB_YESNO), IDNO);
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Caption: Line 1\nLine 2\n\xC3\x9C"
            "bersicht: Overwrite?\n");

  snk::host::SetUiPolicy(Scripted({u"Y", u"no", std::nullopt}));
  testing::internal::CaptureStderr();
  EXPECT_EQ(MessageBoxW(nullptr, u"Q", u"C", MB_YESNO | MB_SETFOREGROUND), IDYES);
  EXPECT_EQ(MessageBoxW(nullptr, u"Q", u"C", MB_YESNO), IDNO);
  EXPECT_EQ(MessageBoxW(nullptr, u"Q", u"C", MB_YESNO), IDNO);  // end of input
  EXPECT_EQ(MessageBoxW(nullptr, u"Q", u"C", MB_OK), IDOK);     // never asks
  testing::internal::GetCapturedStderr();
  EXPECT_EQ(prompts_.size(), 3u);

  std::vector<std::u16string> seen;
  snk::host::SetMessageBoxHook([&](std::u16string_view text, std::u16string_view caption, UINT type) {
    seen.push_back(std::u16string(caption) + u"|" + std::u16string(text));
    return type == MB_YESNO ? IDYES : IDOK;
  });
  EXPECT_EQ(MessageBoxW(nullptr, u"T", u"C", MB_YESNO), IDYES);
  EXPECT_EQ(seen, std::vector<std::u16string>{u"C|T"});
}

OPENFILENAMEW Dialog(char16_t* buffer, DWORD size) {
  OPENFILENAMEW d{};
  d.lStructSize = sizeof d;
  d.lpstrFile = buffer;
  d.nMaxFile = size;
  d.lpstrDefExt = u"pdf";
  return d;
}

TEST_F(UiTest, SaveDialogFixedAnswerCancelAndSmallBuffer) {
  char16_t buffer[64] = u"proposed.pdf";
  OPENFILENAMEW d = Dialog(buffer, 64);
  EXPECT_FALSE(GetSaveFileNameW(&d));  // batch without an answer cancels
  EXPECT_EQ(CommDlgExtendedError(), 0u);

  UiPolicy policy;
  policy.saveAnswer = u"/tmp/out/report.pdf";
  snk::host::SetUiPolicy(policy);
  ASSERT_TRUE(GetSaveFileNameW(&d));
  EXPECT_EQ(std::u16string(buffer), u"/tmp/out/report.pdf");
  EXPECT_EQ(d.nFileOffset, 9);
  EXPECT_EQ(d.nFileExtension, 16);

  char16_t small[8] = u"x";
  OPENFILENAMEW tight = Dialog(small, 8);
  EXPECT_FALSE(GetSaveFileNameW(&tight));
  EXPECT_EQ(CommDlgExtendedError(), 0x3003u);  // FNERR_BUFFERTOOSMALL
  EXPECT_EQ(small[0], 20);                     // the size needed
}

TEST_F(UiTest, InteractiveSaveDialogDefaultsAndCancels) {
  char16_t buffer[64] = u"proposed.pdf";
  OPENFILENAMEW d = Dialog(buffer, 64);
  snk::host::SetUiPolicy(Scripted({u"", u"other", std::nullopt}));
  ASSERT_TRUE(GetSaveFileNameW(&d));  // empty input keeps the proposal
  EXPECT_EQ(std::u16string(buffer), u"proposed.pdf");
  EXPECT_NE(prompts_[0].find(u"proposed.pdf"), std::u16string::npos);
  ASSERT_TRUE(GetSaveFileNameW(&d));  // the default extension is added
  EXPECT_EQ(std::u16string(buffer), u"other.pdf");
  EXPECT_FALSE(GetSaveFileNameW(&d));  // end of input cancels
  EXPECT_EQ(CommDlgExtendedError(), 0u);
}

TEST(Windows, NoDesktopWindows) {
  EXPECT_EQ(GetForegroundWindow(), nullptr);
  HWND desktop = GetDesktopWindow();
  EXPECT_NE(desktop, nullptr);
  EXPECT_EQ(desktop, GetDesktopWindow());
  char16_t text[8] = u"junk";
  EXPECT_EQ(GetWindowTextW(desktop, text, 8), 0);
  EXPECT_EQ(text[0], u'\0');
  text[0] = u'j';
  EXPECT_EQ(GetClassNameW(desktop, text, 8), 0);
  EXPECT_EQ(text[0], u'\0');
}

}  // namespace
