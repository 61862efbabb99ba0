// Whole jobs through the driver module, loaded and called as the engine
// does, checked against the exact bytes of the file.
#include "host/engine/print_job.h"

#include <gtest/gtest.h>

#include <fstream>

#include "base/byte_string.h"
#include "driver_page.h"
#include "host/system/host_control.h"

namespace {

using snk::engine::DeviceRequest;
using snk::engine::DriverModule;
using snk::engine::EngineJob;

class PrintJob : public snk::test::DriverPageTest {
 protected:
  void AnswerSaveDialog(const std::string& name) {
    snk::host::UiPolicy policy;
    policy.saveAnswer = Path(name);
    snk::host::SetUiPolicy(policy);
  }

  static DeviceRequest A4(SHORT orientation = DMORIENT_PORTRAIT) {
    DeviceRequest request;
    request.devmode.dmSize = sizeof(DEVMODEW);
    request.devmode.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH | DM_ORIENTATION;
    request.devmode.dmPaperWidth = 2100;
    request.devmode.dmPaperLength = 2970;
    request.devmode.dmOrientation = orientation;
    request.devmode.dmPrintQuality = request.devmode.dmYResolution = 300;
    request.devmode.dmScale = 100;
    return request;
  }

  // Prints `pages` empty pages and returns the file's bytes.
  std::string PrintPages(int pages, DeviceRequest request = A4()) {
    EngineJob job(*driver_);
    std::string error;
    EXPECT_TRUE(job.Enable(request, u"Test Printer", printer_, &error)) << error;
    EXPECT_TRUE(job.StartDoc(u"Test document", 1));
    for (int i = 0; i < pages; ++i) {
      EXPECT_TRUE(job.StartPage());
      EXPECT_TRUE(job.SendPage());
    }
    EXPECT_TRUE(job.EndDoc());
    job.Disable();
    return snk::test::ReadFile(Dir() / "out.pdf");
  }

  static std::u16string UserKey() { return u"Software\\Kelmo Software\\PDF Forge\\" + snk::test::UserName(); }

  // The user's settings say: no dialog, files go to `folder` (a settings
  // string, REG_MULTI_SZ).
  void UseDefaultNameIn(const std::u16string& folder) {
    snk::host::SetRegistryOverlayDword(UserKey(), u"UseDefFileName", 1);
    std::vector<BYTE> bytes;
    for (char16_t c : folder + std::u16string(2, u'\0')) {
      bytes.push_back(BYTE(c & 0xFF));
      bytes.push_back(BYTE(c >> 8));
    }
    snk::host::SetRegistryOverlay(UserKey(), u"Folder", REG_MULTI_SZ, bytes);
  }
};

using snk::test::ObjectText;

// The inflated data of stream object n.
std::string StreamData(const std::string& pdf, int n) {
  std::string object = ObjectText(pdf, n);
  size_t length = object.find("/Length ");
  size_t start = object.find(">>\nstream\n");
  if (length == std::string::npos || start == std::string::npos) return {};
  return snk::test::Inflate(
      std::string_view(object).substr(start + 10, std::stoul(object.substr(length + 8))));
}

TEST_F(PrintJob, OnePageFileHasExactlyTheWritersBytes) {
  snk::test::ScopedEnv epoch("SOURCE_DATE_EPOCH", "1700000000"), zone("TZ", "UTC");
  std::string pdf = PrintPages(1);
  ASSERT_FALSE(pdf.empty());
  EXPECT_EQ(pdf.substr(0, 18), "%PDF-1.4\n\x8E\x9D\xA3\xB4\xC5\xD6\xE7\xF8\n");
  EXPECT_EQ(pdf.substr(18, 33), "2 0 obj\n[/ICCBased 3 0 R]\nendobj\n");
  EXPECT_EQ(ObjectText(pdf, 3).substr(0, 36), "3 0 obj\n<<\n/Filter /FlateDecode \n/Le");
  EXPECT_EQ(StreamData(pdf, 3).size(), 3144u);
  EXPECT_EQ(ObjectText(pdf, 4), "4 0 obj\n<<\n/CA 0.498 \n/Type /ExtGState \n/ca 0.498 \n>>\nendobj\n");
  EXPECT_EQ(StreamData(pdf, 5), "/CS1 cs /CS1 CS ");
  EXPECT_EQ(ObjectText(pdf, 6),
            "6 0 obj\n<<\n/Contents 5 0 R \n/MediaBox [0 0 595.2 841.68] \n/PageIndex 1 \n/Parent 1 0 R \n"
            "/Resources <</Font <<>> /Shading <<>> /XObject <<>> /ColorSpace <</CS1 2 0 R >> "
            "/ExtGState <</GS0 4 0 R>> >> \n/Type /Page \n>>\nendobj\n");
  EXPECT_EQ(ObjectText(pdf, 1), "1 0 obj\n<<\n/Count 1 \n/Kids [6 0 R ] \n/Type /Pages \n>>\nendobj\n");
  EXPECT_EQ(ObjectText(pdf, 7), "7 0 obj\n<<\n/Pages 1 0 R \n/Type /Catalog \n>>\nendobj\n");
  EXPECT_EQ(
      ObjectText(pdf, 8),
      "8 0 obj\n<<\n/Author (\xFE\xFF) \n/CreationDate (D:20231114221320Z00'00') \n/Creator (\xFE\xFF) \n"
      "/Keywords (\xFE\xFF) \n/ModDate (D:20231114221320Z00'00') \n"
      "/Producer (Kelmo PDF Forge Version 3.1.0.1210) \n/Subject (\xFE\xFF) \n/Title (\xFE\xFF) "
      "\n>>\nendobj\n");

  // File order: 2, 3, 4, content, page, then the tree, catalog and info.
  EXPECT_LT(pdf.find("6 0 obj"), pdf.find("1 0 obj"));
  size_t table = pdf.find("xref\n0 9\n0000000000 65536 f\r\n");
  ASSERT_NE(table, std::string::npos);
  for (int n = 1; n <= 8; ++n) {
    std::string entry = pdf.substr(table + 29 + 20 * (n - 1), 20);
    ASSERT_EQ(entry.find_first_not_of("0123456789"), 10u) << entry;
    ASSERT_EQ(entry.substr(10), " 00000 n\r\n") << entry;
    EXPECT_EQ(pdf.compare(std::stoul(entry.substr(0, 10)), 8, std::to_string(n) + " 0 obj\n"), 0) << n;
  }
  std::string trailer = pdf.substr(table + 29 + 160);
  EXPECT_EQ(trailer,
            "trailer\n<</Size 9 /Root 7 0 R /Info 8 0 R>>\nstartxref\n" + std::to_string(table) + "\n%%EOF");
}

TEST_F(PrintJob, PagesAreListedInPrintOrderAndNumbered) {
  std::string pdf = PrintPages(3, A4(DMORIENT_LANDSCAPE));
  EXPECT_NE(ObjectText(pdf, 1).find("/Count 3 \n/Kids [6 0 R 8 0 R 10 0 R ] \n"), std::string::npos);
  EXPECT_NE(ObjectText(pdf, 10).find("/MediaBox [0 0 841.68 595.2] \n/PageIndex 3 \n"), std::string::npos);
  EXPECT_NE(pdf.find("xref\n0 13\n"), std::string::npos);
  EXPECT_NE(pdf.find("/Size 13 /Root 11 0 R /Info 12 0 R>>"), std::string::npos);
}

TEST_F(PrintJob, AJobWithoutPagesStillHasOneEmptyPage) {
  std::string pdf = PrintPages(0);
  EXPECT_NE(ObjectText(pdf, 1).find("/Count 1 \n/Kids [6 0 R ] \n"), std::string::npos);
  EXPECT_EQ(StreamData(pdf, 5), "/CS1 cs /CS1 CS ");
}

TEST_F(PrintJob, VersionSettingChoosesTheHeader) {
  std::u16string key = UserKey();
  snk::host::SetRegistryOverlayDword(key, u"PDFVersion", 17);
  EXPECT_EQ(PrintPages(1).substr(0, 9), "%PDF-1.7\n");
  snk::host::SetRegistryOverlayDword(key, u"PDFVersion", 20);
  std::string none = PrintPages(1);
  EXPECT_EQ(none.substr(0, 33), "2 0 obj\n[/ICCBased 3 0 R]\nendobj\n");
}

TEST_F(PrintJob, SameJobTwiceGivesTheSameBytes) {
  std::string first = PrintPages(2);
  std::string second = PrintPages(2);
  EXPECT_FALSE(first.empty());
  EXPECT_EQ(first, second);
}

TEST_F(PrintJob, CancellingTheSaveDialogWritesNothingAndAllCallsSucceed) {
  snk::host::SetUiPolicy({});  // no answer: the dialog is cancelled
  EXPECT_EQ(PrintPages(1), "");
  EXPECT_TRUE(boxes_.empty());
  EXPECT_FALSE(std::filesystem::exists(Dir() / "out.pdf"));
}

TEST_F(PrintJob, PagesOnOtherPaperMoveTheJobToANewDevice) {
  auto paper = [](SHORT width, SHORT length, SHORT orientation) {
    DeviceRequest request = A4(orientation);
    request.devmode.dmPaperWidth = width;
    request.devmode.dmPaperLength = length;
    return request;
  };
  EngineJob job(*driver_);
  std::string error;
  ASSERT_TRUE(job.Enable(A4(), u"Test Printer", printer_, &error)) << error;
  ASSERT_TRUE(job.StartDoc(u"Mixed", 1));
  for (DeviceRequest next : {paper(2159, 2794, DMORIENT_PORTRAIT), paper(2100, 2970, DMORIENT_LANDSCAPE)}) {
    EXPECT_TRUE(job.StartPage());
    EXPECT_TRUE(job.SendPage());
    ASSERT_TRUE(job.Reset(next, &error)) << error;
  }
  EXPECT_TRUE(job.StartPage());
  EXPECT_TRUE(job.SendPage());
  EXPECT_TRUE(job.EndDoc());
  job.Disable();
  // One file, its pages numbered on, each with the paper it was printed on.
  const std::string pdf = snk::test::ReadFile(Dir() / "out.pdf");
  EXPECT_NE(pdf.find("/Count 3 \n"), std::string::npos);
  const size_t a4 = pdf.find("/MediaBox [0 0 595.2 841.68] \n/PageIndex 1 ");
  const size_t letter = pdf.find("/MediaBox [0 0 612 792] \n/PageIndex 2 ");
  const size_t landscape = pdf.find("/MediaBox [0 0 841.68 595.2] \n/PageIndex 3 ");
  EXPECT_NE(a4, std::string::npos);
  EXPECT_NE(letter, std::string::npos);
  EXPECT_NE(landscape, std::string::npos);
}

TEST_F(PrintJob, AFailedStartLeavesNoFileAndTheCallsAfterItDoNothing) {
  UseDefaultNameIn(Path(""));
  { std::ofstream(Dir() / "Report.pdf") << "old"; }
  boxAnswer_ = IDNO;  // do not try another file
  EngineJob job(*driver_);
  std::string error;
  ASSERT_TRUE(job.Enable(A4(), u"Test Printer", printer_, &error)) << error;
  EXPECT_FALSE(job.StartDoc(u"Report", 1));
  job.StartPage();
  job.SendPage();
  job.EndDoc();
  job.Disable();
  EXPECT_EQ(boxes_.size(), 1u);
  EXPECT_EQ(snk::test::ReadFile(Dir() / "Report.pdf"), "old");
  EXPECT_FALSE(std::filesystem::exists(Dir() / "out.pdf"));
}

TEST_F(PrintJob, OutsideProgramsFindTheResultBesideTheUsersSettings) {
  const std::u16string productKey = u"Software\\Kelmo Software\\PDF Forge";
  auto stored = [&](const std::u16string& key) -> std::u16string {
    HKEY handle = nullptr;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_ALL_ACCESS, &handle) != 0) return u"(no key)";
    char16_t text[300] = {};
    DWORD type = 0, size = sizeof text - 2;
    LSTATUS status =
        RegQueryValueExW(handle, u"FileName", nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
    RegCloseKey(handle);
    return status == 0 ? std::u16string(text) : u"(none)";
  };
  PrintPages(1);
  EXPECT_EQ(stored(productKey), Path("out.pdf"));

  snk::host::SetUiPolicy({});  // the dialog is cancelled
  PrintPages(1);
  EXPECT_EQ(stored(productKey), u"FALSE");
  EXPECT_EQ(stored(UserKey()), u"(none)");  // the default-name override is untouched

  // The next job with the default name writes NAME.pdf.
  UseDefaultNameIn(Path(""));
  EngineJob job(*driver_);
  std::string error;
  ASSERT_TRUE(job.Enable(A4(), u"Test Printer", printer_, &error)) << error;
  EXPECT_TRUE(job.StartDoc(u"Report", 1));
  EXPECT_TRUE(job.EndDoc());
  job.Disable();
  EXPECT_TRUE(std::filesystem::exists(Dir() / "Report.pdf"));
}

TEST_F(PrintJob, AStartDocWithJobIdZeroContinuesTheJob) {
  EngineJob job(*driver_);
  std::string error;
  ASSERT_TRUE(job.Enable(A4(), u"Test Printer", printer_, &error)) << error;
  ASSERT_TRUE(job.StartDoc(u"Report", 1));
  job.StartPage();
  job.SendPage();
  AnswerSaveDialog("other.pdf");
  EXPECT_TRUE(job.StartDoc(u"Report", 0));  // neither resets nor opens a file
  job.StartPage();
  job.SendPage();
  job.EndDoc();
  job.Disable();
  EXPECT_FALSE(std::filesystem::exists(Dir() / "other.pdf"));
  EXPECT_NE(snk::test::ReadFile(Dir() / "out.pdf").find("/Count 2 \n"), std::string::npos);
}

TEST_F(PrintJob, BatchModeWritesToThePrintersDestinationWithoutAsking) {
  auto setText = [&](const char16_t* name, std::u16string text) {
    std::vector<BYTE> bytes;
    for (char16_t c : text + u'\0') {
      bytes.push_back(BYTE(c & 0xFF));
      bytes.push_back(BYTE(c >> 8));
    }
    SetPrinterDataExW(printer_, u"PrinterDriverData", name, REG_SZ, bytes.data(), DWORD(bytes.size()));
  };
  DWORD one = 1;
  SetPrinterDataExW(printer_, u"PrinterDriverData", u"Batch", REG_DWORD, reinterpret_cast<BYTE*>(&one), 4);
  setText(u"DestName", u"batch out");
  setText(u"Folder", Path("pdfs"));
  std::filesystem::create_directory(Dir() / "pdfs");
  { std::ofstream(Dir() / "pdfs" / "batch out.pdf") << "old"; }
  snk::host::SetUiPolicy({});
  PrintPages(1);
  std::string pdf = snk::test::ReadFile(Dir() / "pdfs" / "batch out.pdf");
  EXPECT_EQ(pdf.substr(0, 8), "%PDF-1.4");  // replaced
  EXPECT_TRUE(boxes_.empty());
}

TEST_F(PrintJob, TheResultIsOpenedOnlyWhenTheUserWantsIt) {
  snk::test::ScopedEnv desktop("DISPLAY", ":0");
  std::vector<std::string> opened;
  snk::host::SetShellExecuteHook([&](std::u16string_view, std::string_view target) {
    opened.emplace_back(target);
    return true;
  });
  snk::host::SetRegistryOverlayDword(UserKey(), u"OpenFile", 0);
  PrintPages(1);
  EXPECT_TRUE(opened.empty());
  snk::host::SetRegistryOverlayDword(UserKey(), u"OpenFile", 1);
  PrintPages(1);
  snk::host::SetShellExecuteHook({});
  ASSERT_EQ(opened.size(), 1u);
  EXPECT_EQ(opened[0], (Dir() / "out.pdf").string());
}

TEST_F(PrintJob, DefaultNamesComeFromTheDocumentName) {
  UseDefaultNameIn(Path(""));
  snk::host::SetRegistryOverlayDword(UserKey(), u"Overwrite", 1);
  snk::host::SetUiPolicy({});
  const std::pair<std::u16string, std::string> cases[] = {
      {u"Microsoft Word - Report.doc", "Report.pdf"},
      {u"Microsoft Excel - Book1", "Microsoft Excel - Book1.pdf"},
      {u"web/site/page.html", "page.pdf"},
      {u"C:\\a\\ notes.txt", "notes.pdf"},
      {u"archive.tar.gz", "archive.tar.pdf"},
      {u"abc", "abc.pdf"},
      {u"dir\\", "dir.pdf"},
  };
  for (const auto& [title, file] : cases) {
    EngineJob job(*driver_);
    std::string error;
    ASSERT_TRUE(job.Enable(A4(), u"Test Printer", printer_, &error)) << error;
    EXPECT_TRUE(job.StartDoc(title, 1));
    EXPECT_TRUE(job.EndDoc());
    job.Disable();
    EXPECT_TRUE(std::filesystem::exists(Dir() / file)) << file;
  }
  EXPECT_TRUE(boxes_.empty());
}

}  // namespace
