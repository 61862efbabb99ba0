// EMF writer: what it writes reads back with the reader, field by field,
// and passes the shared checker.
#include "tools/sample_job/emf_writer.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "host/gdi/emf_reader.h"
#include "host/gdi/emf_records.h"

namespace snk::gdi {
namespace {

uint32_t U32At(const EmfRecord& record, size_t offset) {
  ByteReader reader(record.bytes);
  uint32_t value = 0;
  EXPECT_TRUE(reader.Seek(offset) && reader.ReadU32(value));
  return value;
}

EmfWriter Authored() {
  EmfWriter writer({100, 200, 21100, 29900}, {2480, 3508}, {210, 297});
  writer.SetMapMode(kMmAnisotropic);
  writer.SetWindowExtEx(2100, 2970);
  writer.SetViewportExtEx(2480, 3508);
  writer.CreateBrushIndirect(4, kBsSolid, Rgb(0x10, 0x20, 0x30));
  writer.CreatePen(2, kPsDash, 7, Rgb(0xAA, 0xBB, 0xCC));
  EmfFont font;
  font.height = -42;
  font.face = u"Arial";
  writer.ExtCreateFontIndirectW(3, font);
  writer.SelectObject(kStockObject | 13);  // stock objects do not count as handles
  writer.SaveDC();
  const PointS points[] = {{5, -3}, {40, 7}, {-2, 90}};
  writer.Polygon16(points);
  const int32_t dx[] = {11, 12, 13};
  writer.ExtTextOutW(70, 80, u"abc", dx);
  writer.ExtTextOutW(70, 80, u"odd");
  writer.RestoreDC(-1);
  const std::byte odd[] = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}, std::byte{5}};
  writer.Add(EMR_COMMENT, odd);
  return writer;
}

TEST(EmfWriter, HeaderAndEofAreConsistent) {
  const std::vector<std::byte> bytes = Authored().Finish();
  std::string error;
  const auto file = EmfFile::Parse("w.emf", bytes, &error);
  ASSERT_TRUE(file) << error;
  EXPECT_TRUE(file->warnings().empty());
  const EmfHeader& h = file->header();
  EXPECT_EQ(h.bytes, bytes.size());
  EXPECT_EQ(h.records, file->recordCount());
  EXPECT_EQ(file->recordCount(), 15u);
  EXPECT_EQ(h.handles, 5);  // highest index 4, plus the reserved 0
  EXPECT_EQ(h.description, u"snk sample");
  EXPECT_EQ(h.frame.left, 100);
  EXPECT_EQ(h.frame.bottom, 29900);
  EXPECT_EQ(h.device.cy, 3508);
  EXPECT_EQ(h.millimeters.cx, 210);
  ASSERT_TRUE(h.micrometers);
  EXPECT_EQ(h.micrometers->cy, 297000);
  EXPECT_EQ(h.bounds.left, 12);  // 1 mm at 2480 px / 210 mm, rounded
  EXPECT_EQ(h.bounds.right, 2491);
  const EmfRecord eof = file->record(file->recordCount() - 1);
  ASSERT_EQ(eof.type, EMR_EOF);
  EXPECT_EQ(U32At(eof, 16), 20u);  // nSizeLast
}

TEST(EmfWriter, RecordFieldsReadBack) {
  const std::vector<std::byte> bytes = Authored().Finish();
  const auto file = EmfFile::Parse("w.emf", bytes, nullptr);
  ASSERT_TRUE(file);
  const EmfRecord pen = file->record(5);
  ASSERT_EQ(pen.type, EMR_CREATEPEN);
  EXPECT_EQ(pen.size(), 28u);
  EXPECT_EQ(U32At(pen, 8), 2u);
  EXPECT_EQ(U32At(pen, 12), kPsDash);
  EXPECT_EQ(U32At(pen, 16), 7u);
  EXPECT_EQ(U32At(pen, 24), 0x00CCBBAAu);
  const EmfRecord font = file->record(6);
  ASSERT_EQ(font.type, EMR_EXTCREATEFONTINDIRECTW);
  EXPECT_EQ(font.size(), 332u);
  EXPECT_EQ(static_cast<int32_t>(U32At(font, 12)), -42);
  EXPECT_EQ(U32At(font, 12 + 28), 'A' | 'r' << 16);  // FaceName
  const EmfRecord polygon = file->record(9);
  ASSERT_EQ(polygon.type, EMR_POLYGON16);
  EXPECT_EQ(static_cast<int32_t>(U32At(polygon, 8)), -2);  // bounds.left
  EXPECT_EQ(static_cast<int32_t>(U32At(polygon, 12)), -3);
  EXPECT_EQ(U32At(polygon, 16), 40u);
  EXPECT_EQ(U32At(polygon, 20), 90u);
  EXPECT_EQ(U32At(polygon, 24), 3u);
  EXPECT_EQ(U32At(polygon, 28), 0xFFFD0005u);  // (5, -3)
  const EmfRecord comment = file->record(13);
  EXPECT_EQ(comment.size(), 16u);  // 5 payload bytes padded to 8
  EXPECT_EQ(U32At(comment, 12), 5u);
}

TEST(EmfWriter, TextRecordLayout) {
  const auto file = EmfFile::Parse("w.emf", Authored().Finish(), nullptr);
  ASSERT_TRUE(file);
  const EmfRecord withDx = file->record(10);
  ASSERT_EQ(withDx.type, EMR_EXTTEXTOUTW);
  EXPECT_EQ(U32At(withDx, 36), 70u);  // reference point
  EXPECT_EQ(U32At(withDx, 44), 3u);   // chars
  const uint32_t offString = U32At(withDx, 48);
  const uint32_t offDx = U32At(withDx, 72);
  EXPECT_EQ(offString, 76u);
  EXPECT_EQ(U32At(withDx, offString), 'a' | 'b' << 16);
  EXPECT_EQ(offDx, 84u);  // after 6 string bytes padded to 8
  EXPECT_EQ(U32At(withDx, offDx + 8), 13u);
  EXPECT_EQ(withDx.size(), offDx + 12);
  const EmfRecord noDx = file->record(11);
  EXPECT_EQ(U32At(noDx, 72), 0u);
  EXPECT_EQ(noDx.size(), 84u);
}

TEST(EmfWriter, NoDescriptionAndDeterminism) {
  EmfWriter writer({0, 0, 1000, 1000}, {100, 100}, {10, 10});
  writer.SetDescription(u"");
  const auto file = EmfFile::Parse("w.emf", writer.Finish(), nullptr);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->header().size, 108u);
  EXPECT_EQ(file->header().descriptionOffset, 0u);
  EXPECT_EQ(file->header().handles, 1);
  EXPECT_EQ(file->recordCount(), 2u);
  EXPECT_EQ(Authored().Finish(), Authored().Finish());
}

TEST(EmfWriter, PassesSharedChecker) {
  const std::string checker = SNK_SHARED_DIR "/tools/emfstat.py";
  if (!std::filesystem::exists(checker) || std::system("python3 --version >/dev/null 2>&1") != 0)
    GTEST_SKIP() << "emfstat.py or python3 not found; shared checker not run";
  const std::string path = (std::filesystem::temp_directory_path() / "snk-emf-writer-test.emf").string();
  ASSERT_TRUE(Authored().WriteFile(path));
  const std::string command = "python3 " + checker + " --check " + path + " >/dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0);
  std::filesystem::remove(path);
}

}  // namespace
}  // namespace snk::gdi
