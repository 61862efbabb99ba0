// Printer data in the settings database, and the built-in forms.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "host/system/host_control.h"
#include "platform/win32.h"
#include "test_support.h"

namespace {

using PrinterDataTest = snk::test::HostTest;

TEST_F(PrinterDataTest, ValuesArePerPrinterAndReportMoreData) {
  HANDLE printer = snk::host::OpenHostPrinter(u"SNK PDF");
  HANDLE other = snk::host::OpenHostPrinter(u"Other");
  ASSERT_NE(printer, nullptr);
  const BYTE blob[6] = {1, 2, 3, 4, 5, 6};
  ASSERT_EQ(SetPrinterDataExW(printer, u"PrinterDriverData", u"Options", REG_BINARY, blob, 6), ERROR_SUCCESS);

  DWORD type = 0, needed = 0;
  BYTE small[4] = {};
  EXPECT_EQ(GetPrinterDataExW(printer, u"PrinterDriverData", u"Options", &type, small, 4, &needed),
            ERROR_MORE_DATA);
  EXPECT_EQ(needed, 6u);
  EXPECT_EQ(GetPrinterDataExW(printer, u"PrinterDriverData", u"Options", &type, nullptr, 0, &needed),
            ERROR_MORE_DATA);
  BYTE full[8] = {};
  EXPECT_EQ(GetPrinterDataExW(printer, u"printerdriverdata", u"OPTIONS", &type, full, 8, &needed),
            ERROR_SUCCESS);
  EXPECT_EQ(type, REG_BINARY);
  EXPECT_EQ(needed, 6u);
  EXPECT_EQ(std::memcmp(full, blob, 6), 0);
  EXPECT_EQ(GetPrinterDataExW(other, u"PrinterDriverData", u"Options", &type, full, 8, &needed),
            ERROR_FILE_NOT_FOUND);

  // The name compares without case, across handles and reopening.
  snk::host::CloseConfigDatabase();
  HANDLE again = snk::host::OpenHostPrinter(u"snk pdf");
  EXPECT_EQ(GetPrinterDataExW(again, u"PrinterDriverData", u"Options", &type, full, 8, &needed),
            ERROR_SUCCESS);
  EXPECT_TRUE(snk::host::ClosePrinter(again));
  EXPECT_EQ(GetPrinterDataExW(again, u"PrinterDriverData", u"Options", &type, full, 8, &needed),
            ERROR_INVALID_HANDLE);
  EXPECT_FALSE(snk::host::ClosePrinter(again));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  snk::host::ClosePrinter(printer);
  snk::host::ClosePrinter(other);
}

TEST_F(PrinterDataTest, EnumFormsFollowsTheBufferRulesAndPaperNumbers) {
  HANDLE printer = snk::host::OpenHostPrinter(u"SNK PDF");
  DWORD needed = 0, returned = 7;
  SetLastError(0);
  EXPECT_FALSE(EnumFormsW(printer, 1, nullptr, 0, &needed, &returned));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(returned, 0u);
  ASSERT_GT(needed, 41 * sizeof(FORM_INFO_1W));
  std::vector<BYTE> buffer(needed);
  EXPECT_FALSE(EnumFormsW(printer, 1, buffer.data(), needed - 1, &needed, &returned));
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  ASSERT_TRUE(EnumFormsW(printer, 1, buffer.data(), needed, &needed, &returned));
  ASSERT_EQ(returned, 41u);

  auto* forms = reinterpret_cast<FORM_INFO_1W*>(buffer.data());
  auto inBuffer = [&](const void* p) {
    return p >= buffer.data() + 41 * sizeof(FORM_INFO_1W) && p < buffer.data() + buffer.size();
  };
  for (DWORD i = 0; i < returned; ++i) {
    EXPECT_TRUE(inBuffer(forms[i].pName)) << i;
    EXPECT_EQ(forms[i].ImageableArea.right, forms[i].Size.cx);
  }
  // Form i describes paper number i + 1.
  EXPECT_EQ(std::u16string(forms[0].pName), u"Letter");
  EXPECT_EQ(forms[0].Size.cx, 215900);
  EXPECT_EQ(forms[0].Size.cy, 279400);
  EXPECT_EQ(std::u16string(forms[8].pName), u"A4");
  EXPECT_EQ(forms[8].Size.cx, 210000);
  EXPECT_EQ(forms[8].Size.cy, 297000);
  EXPECT_EQ(std::u16string(forms[19].pName), u"Envelope #10");
  EXPECT_EQ(std::u16string(forms[26].pName), u"Envelope DL");
  EXPECT_EQ(std::u16string(forms[40].pName), u"German Legal Fanfold");

  EXPECT_FALSE(EnumFormsW(printer, 2, buffer.data(), needed, &needed, &returned));
  EXPECT_FALSE(EnumFormsW(nullptr, 1, buffer.data(), needed, &needed, &returned));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
  snk::host::ClosePrinter(printer);
}

}  // namespace
