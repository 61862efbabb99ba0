// Document information, dates and PDF/A metadata of whole jobs, and the
// printer's list of faces to embed.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>

#include "base/byte_string.h"
#include "driver/device.h"
#include "driver/print_job.h"
#include "driver_page.h"
#include "host/engine/print_job.h"
#include "host/system/host_control.h"
#include "services/core_module.h"

namespace {

using snk::engine::DeviceRequest;
using snk::engine::DriverModule;
using snk::engine::EngineJob;
using snk::test::ScopedEnv;

template <size_t N>
std::string Bytes(const char (&text)[N]) {
  return std::string(text, N - 1);
}

using snk::test::ObjectText;

std::string EmptyInfo(const std::string& date) {
  return "<<\n/Author (\xFE\xFF) \n/CreationDate " + date +
         " \n/Creator (\xFE\xFF) \n/Keywords (\xFE\xFF) \n" + "/ModDate " + date +
         " \n/Producer (Kelmo PDF Forge Version 3.1.0.1210) \n/Subject (\xFE\xFF) \n" +
         "/Title (\xFE\xFF) \n>>\n";
}

class PrintJobInfo : public snk::test::DriverPageTest {
 protected:
  // Writes the per-job settings file as the interface module does: UTF-16LE
  // with a byte order mark.
  void WriteSettings(const std::u16string& text) {
    std::string bytes = "\xFF\xFE";
    for (char16_t c : text) {
      bytes += static_cast<char>(c & 0xFF);
      bytes += static_cast<char>(c >> 8);
    }
    std::ofstream(Dir() / "job.ini", std::ios::binary) << bytes;
  }

  DeviceRequest Request() {
    DeviceRequest request;
    request.devmode.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH;
    request.devmode.dmPaperWidth = 2100;
    request.devmode.dmPaperLength = 2970;
    request.devmode.dmPrintQuality = request.devmode.dmYResolution = 300;
    request.devmode.dmScale = 100;
    CKM_WideString(Path("job.ini")).CopyTo(request.settingsFile, 260);
    return request;
  }

  // One empty page; `duringJob` runs between StartDoc and EndDoc.
  std::string Print(const std::function<void()>& duringJob = {}) {
    EngineJob job(*driver_);
    std::string error;
    EXPECT_TRUE(job.Enable(Request(), u"Test Printer", printer_, &error)) << error;
    EXPECT_TRUE(job.StartDoc(u"Quarterly report", 1));
    if (duringJob) duringJob();
    EXPECT_TRUE(job.StartPage());
    EXPECT_TRUE(job.SendPage());
    EXPECT_TRUE(job.EndDoc());
    job.Disable();
    return snk::test::ReadFile(Dir() / "out.pdf");
  }
};

TEST_F(PrintJobInfo, WithoutDocumentInfoEveryKeyIsThereAndEmpty) {
  ScopedEnv epoch("SOURCE_DATE_EPOCH", "1291888511");
  ScopedEnv zone("TZ", "UTC");
  const std::string expected = "8 0 obj\n" + EmptyInfo("(D:20101209095511Z00'00')") + "endobj\n";
  // No settings file at all, and one whose switch is off.
  EXPECT_EQ(ObjectText(Print(), 8), expected);
  WriteSettings(u"[DocumentInfo]\r\nIsAddDocInfo=0\r\nTitle=[Ignored]\r\n");
  std::string pdf = Print();
  EXPECT_EQ(ObjectText(pdf, 8), expected);
  EXPECT_EQ(pdf.find("xpacket"), std::string::npos);
  EXPECT_NE(pdf.find("/Size 9 /Root 7 0 R /Info 8 0 R>>"), std::string::npos);
}

TEST_F(PrintJobInfo, TextsComeFromTheSettingsFileAsTheJobEnds) {
  WriteSettings(u"[DocumentInfo]\r\nIsAddDocInfo=1\r\n");
  // The interface module may fill in the texts while the job runs.
  std::string pdf = Print([&] {
    WriteSettings(
        u"[DocumentInfo]\r\nIsAddDocInfo=1\r\nTitle=[ Plan ]\r\nSubject=[S]\r\nAuthor=[A]\r\n"
        u"KeyWords=[K]\r\nCreator=[C\u00e9]\r\n");
  });
  std::string info = ObjectText(pdf, 8);
  EXPECT_NE(info.find(Bytes("/Title (\xFE\xFF\0 \0P\0l\0a\0n\0 ) \n")), std::string::npos) << info;
  EXPECT_NE(info.find(Bytes("/Subject (\xFE\xFF\0S) \n")), std::string::npos);
  EXPECT_NE(info.find(Bytes("/Author (\xFE\xFF\0A) \n")), std::string::npos);
  EXPECT_NE(info.find(Bytes("/Keywords (\xFE\xFF\0K) \n")), std::string::npos);
  EXPECT_NE(info.find(Bytes("/Creator (\xFE\xFF\0C\0\xE9) \n")), std::string::npos);
}

TEST_F(PrintJobInfo, DatesShowTheLocalZone) {
  struct Case {
    const char* epoch;
    const char* zone;
    const char* date;
  } cases[] = {
      {"1291888511", "XST+5:30", "(D:20101209042511-05'30')"},
      {"1291888511", "XST-1", "(D:20101209105511+01'00')"},
      {"1293838200", "XST-1", "(D:20110101003000-47'00')"},  // New Year
  };
  for (const Case& c : cases) {
    ScopedEnv epoch("SOURCE_DATE_EPOCH", c.epoch);
    ScopedEnv zone("TZ", c.zone);
    EXPECT_EQ(ObjectText(Print(), 8), "8 0 obj\n" + EmptyInfo(c.date) + "endobj\n") << c.zone;
  }
}

TEST_F(PrintJobInfo, PdfaFileNamesItsMetadataStream) {
  SetOption(u"PDFA1B", 1);
  ScopedEnv uuid("SNK_UUID_FIXED", "0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0");
  ScopedEnv epoch("SOURCE_DATE_EPOCH", "1291888511");
  ScopedEnv zone("TZ", "XST+5:30");
  WriteSettings(u"[DocumentInfo]\r\nIsAddDocInfo=1\r\nTitle=[Q&A <draft>]\r\nKeyWords=[a, b]\r\n");
  std::string pdf = Print();

  EXPECT_EQ(pdf.substr(0, 24), "%PDF-1.4\n%\x81\x82\x83\x84\n\x8E\x9D\xA3\xB4\xC5\xD6\xE7\xF8\n");
  // The metadata number is given out before the catalog's, its object is
  // written after the information dictionary.
  EXPECT_EQ(ObjectText(pdf, 8),
            "8 0 obj\n<<\n/Metadata 7 0 R \n/Pages 1 0 R \n/Type /Catalog \n>>\nendobj\n");
  EXPECT_LT(pdf.find("8 0 obj\n"), pdf.find("9 0 obj\n"));
  EXPECT_LT(pdf.find("9 0 obj\n"), pdf.find("7 0 obj\n"));
  EXPECT_NE(ObjectText(pdf, 9).find("/CreationDate (D:20101209042511-05'30') \n"), std::string::npos);

  std::string xmp = ObjectText(pdf, 7);
  size_t start = xmp.find(">>\nstream\n") + 10;
  size_t end = xmp.find("\nendstream\nendobj\n");
  ASSERT_NE(end, std::string::npos);
  std::string packet = xmp.substr(start, end - start);
  EXPECT_EQ(xmp.substr(0, start), "7 0 obj\n<<\n/Length " + std::to_string(packet.size()) +
                                      " \n/Subtype /XML \n/Type /Metadata \n>>\nstream\n");
  EXPECT_EQ(packet.find("<?xpacket begin=\"\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"), 0u);
  EXPECT_NE(packet.find("<rdf:li xml:lang=\"x-default\">Q&A <draft></rdf:li>"), std::string::npos);
  EXPECT_NE(packet.find("<xap:CreateDate>2010-12-09T04:25:11-05:30</xap:CreateDate>\n"
                        "         <xap:ModifyDate>2010-12-09T04:25:11-05:30</xap:ModifyDate>"),
            std::string::npos);
  EXPECT_NE(packet.find("<pdf:Keywords>a, b</pdf:Keywords>"), std::string::npos);
  EXPECT_EQ(packet.size() - packet.rfind("<?xpacket end=\"w\"?>"), 19u);

  // Every table entry points at its object; the trailer carries the /ID.
  const std::string head = "xref\n0 10\n0000000000 65536 f\r\n";
  size_t table = pdf.find(head);
  ASSERT_NE(table, std::string::npos);
  for (int n = 1; n <= 9; ++n) {
    size_t offset = std::stoul(pdf.substr(table + head.size() + 20 * (n - 1), 10));
    EXPECT_EQ(pdf.compare(offset, 8, std::to_string(n) + " 0 obj\n"), 0) << n;
  }
  EXPECT_NE(pdf.find("trailer\n<</Size 10 /Root 8 0 R /Info 9 0 R /ID [<0f1e2d3c4b5a69788796a5b4c3d2e1f0>"
                     "<0f1e2d3c4b5a69788796a5b4c3d2e1f0>]>>\nstartxref\n"),
            std::string::npos);
}

// Jobs driven in this process, without the driver module's own services.
class DocumentInProcess : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    printer_ = snk::host::OpenHostPrinter(u"Test Printer");
  }
  void TearDown() override {
    snk::host::ClosePrinter(printer_);
    HostTest::TearDown();
  }

  void SetFaces(const std::vector<uint8_t>& block) {
    SetPrinterDataExW(printer_, u"PrinterDriverData", u"FFaces", REG_BINARY, block.data(),
                      static_cast<DWORD>(block.size()));
  }

  // A device of the printer with these settings.
  std::unique_ptr<CKMC_Device> Device(CKMC_JobSettings settings) {
    auto device = std::make_unique<CKMC_Device>(std::move(settings));
    device->printer = printer_;
    device->devMode.dmPrintQuality = 300;
    return device;
  }

  HANDLE printer_ = nullptr;
};

TEST_F(DocumentInProcess, WithoutTheSettingsStoreTheFileStaysUnfinished) {
  CKMC_CoreModule::Shutdown();
  std::string path = (Dir() / "open.pdf").string();
  CKMC_Document document;
  document.writer.AttachFile(CreateFileW(CKM_WideString::FromUTF8(path).c_str(), GENERIC_WRITE, 0, nullptr,
                                         CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  ASSERT_TRUE(document.writer.HasFile());
  document.writer.WriteHeaderAndFixedObjects();
  EXPECT_FALSE(document.EndDocument());
  EXPECT_TRUE(document.writer.HasFile());
  document.writer.CloseFile();  // the file takes its name when closed
  std::string pdf = snk::test::ReadFile(path);
  EXPECT_EQ(pdf.size() - pdf.rfind("/Type /Catalog \n>>\nendobj\n"), 26u);
  EXPECT_EQ(pdf.find("/Producer"), std::string::npos);
}

TEST_F(DocumentInProcess, FaceListSurvivesBlocksThatLie) {
  // "Arial", "Symbol" as UTF-16LE names with their ends.
  std::vector<uint8_t> names;
  for (std::u16string_view name : {u"Arial", u"Symbol"}) {
    for (char16_t c : name) names.insert(names.end(), {uint8_t(c), uint8_t(c >> 8)});
    names.insert(names.end(), {0, 0});
  }
  auto block = [&](uint32_t size, std::vector<uint8_t> tail) {
    std::vector<uint8_t> b(4 + tail.size());
    for (int i = 0; i < 4; ++i) b[i] = uint8_t(size >> (8 * i));
    std::copy(tail.begin(), tail.end(), b.begin() + 4);
    return b;
  };
  std::vector<uint8_t> unended = names;
  unended.insert(unended.end(), {'T', 0, 'i', 0});
  struct Case {
    std::vector<uint8_t> bytes;
    bool arial, symbol;
  } cases[] = {
      {block(uint32_t(4 + names.size()), names), true, true},
      {block(0xFFFFFFF0u, names), true, true},  // claims more than it holds
      {block(4 + 12, names), true, false},      // claims less: Symbol lies outside
      {block(4 + 12 + 3, names), true, false},  // odd: the half unit is dropped
      {block(2, names), false, false},          // smaller than its own size word
      {block(uint32_t(4 + unended.size()), unended), true, true},
      {{0x08, 0}, false, false},  // not even a size word
  };
  auto device = Device({.fontEmbed = 1});
  for (size_t i = 0; i < std::size(cases); ++i) {
    SetFaces(cases[i].bytes);
    CKMC_Document document;
    document.Configure(*device);
    EXPECT_EQ(document.IsEmbedFace(u"Arial"), cases[i].arial) << i;
    EXPECT_EQ(document.IsEmbedFace(u"Symbol"), cases[i].symbol) << i;
    EXPECT_FALSE(document.IsEmbedFace(u"Ti")) << i;
    EXPECT_FALSE(document.IsEmbedFace(u"Sym")) << i;
    EXPECT_FALSE(document.IsEmbedFace(u"")) << i;
  }

  // The list is read only while embedding is on; PDF/A turns it on.
  SetFaces(block(uint32_t(4 + names.size()), names));
  CKMC_Document off;
  off.Configure(*Device({.fontEmbed = 0}));
  EXPECT_FALSE(off.IsEmbedFace(u"Arial"));
  off.Configure(*Device({.pdfa = 1, .fontEmbed = 0}));
  EXPECT_TRUE(off.IsEmbedFace(u"Arial"));
  off.ResetDocument();
  EXPECT_FALSE(off.IsEmbedFace(u"Arial"));
}

}  // namespace
