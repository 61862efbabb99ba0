// EMF writer: the header and the record fields other tests build their
// pages from sit at the offsets the format gives them.
#include "tools/sample_job/emf_writer.h"

#include <gtest/gtest.h>

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

TEST(EmfWriter, HeaderAndRecordFieldsReadBack) {
  EmfWriter writer({100, 200, 21100, 29900}, {2480, 3508}, {210, 297});
  writer.CreatePen(2, kPsDash, 7, Rgb(0xAA, 0xBB, 0xCC));
  EmfFont font;
  font.height = -42;
  font.face = u"Arial";
  writer.ExtCreateFontIndirectW(4, font);
  writer.SelectObject(kStockObject | 13);  // stock objects do not count as handles
  const PointS points[] = {{5, -3}, {40, 7}, {-2, 90}};
  writer.Polygon16(points);
  const int32_t dx[] = {11, 12, 13};
  writer.ExtTextOutW(70, 80, u"abc", dx);
  writer.ExtTextOutW(70, 80, u"odd");
  const std::byte odd[] = {std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4}, std::byte{5}};
  writer.Add(EMR_COMMENT, odd);
  const std::vector<std::byte> bytes = writer.Finish();
  std::string error;
  const auto file = EmfFile::Parse("w.emf", bytes, &error);
  ASSERT_TRUE(file) << error;
  EXPECT_TRUE(file->warnings().empty());

  const EmfHeader& h = file->header();
  EXPECT_EQ(h.bytes, bytes.size());
  EXPECT_EQ(h.records, 9u);
  EXPECT_EQ(file->recordCount(), 9u);
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

  struct Field {
    size_t record;
    uint32_t type;
    size_t offset;
    uint32_t value;
  } fields[] = {
      {1, EMR_CREATEPEN, 4, 28},  // size
      {1, EMR_CREATEPEN, 8, 2},
      {1, EMR_CREATEPEN, 12, kPsDash},
      {1, EMR_CREATEPEN, 16, 7},
      {1, EMR_CREATEPEN, 24, 0x00CCBBAA},
      {2, EMR_EXTCREATEFONTINDIRECTW, 4, 332},
      {2, EMR_EXTCREATEFONTINDIRECTW, 12, uint32_t(-42)},
      {2, EMR_EXTCREATEFONTINDIRECTW, 40, 'A' | 'r' << 16},  // FaceName
      {4, EMR_POLYGON16, 8, uint32_t(-2)},                   // bounds
      {4, EMR_POLYGON16, 12, uint32_t(-3)},
      {4, EMR_POLYGON16, 16, 40},
      {4, EMR_POLYGON16, 20, 90},
      {4, EMR_POLYGON16, 24, 3},
      {4, EMR_POLYGON16, 28, 0xFFFD0005},  // (5, -3)
      {5, EMR_EXTTEXTOUTW, 36, 70},        // reference point
      {5, EMR_EXTTEXTOUTW, 44, 3},         // chars
      {5, EMR_EXTTEXTOUTW, 48, 76},        // offString
      {5, EMR_EXTTEXTOUTW, 76, 'a' | 'b' << 16},
      {5, EMR_EXTTEXTOUTW, 72, 84},  // offDx, after 6 string bytes padded to 8
      {5, EMR_EXTTEXTOUTW, 92, 13},
      {5, EMR_EXTTEXTOUTW, 4, 96},
      {6, EMR_EXTTEXTOUTW, 72, 0},  // no spacing
      {6, EMR_EXTTEXTOUTW, 4, 84},
      {7, EMR_COMMENT, 4, 16},  // 5 payload bytes padded to 8
      {7, EMR_COMMENT, 12, 5},
      {8, EMR_EOF, 16, 20},  // nSizeLast
  };
  for (const Field& f : fields) {
    SCOPED_TRACE(testing::Message() << "record " << f.record << " at " << f.offset);
    const EmfRecord record = file->record(f.record);
    ASSERT_EQ(record.type, f.type);
    EXPECT_EQ(U32At(record, f.offset), f.value);
  }
}

}  // namespace
}  // namespace snk::gdi
