// EMF player: records the device context knows are played, the others are
// counted as not played, by type, and listed by name.
#include "host/gdi/emf_player.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>

#include "host/gdi/device_context.h"
#include "host/gdi/emf_records.h"
#include "host/gdi/record_table.h"
#include "tests/host/gdi/null_target.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::gdi {
namespace {

using test::NullTarget;

std::string Printed(const PlayStats& stats) {
  std::FILE* out = std::tmpfile();
  PrintNotPlayed(stats, out);
  std::rewind(out);
  std::string text;
  for (int c; (c = std::fgetc(out)) != EOF;) text.push_back(static_cast<char>(c));
  std::fclose(out);
  return text;
}

TEST(EmfPlayer, CountsNotPlayedRecordsByType) {
  EmfWriter writer({0, 0, 1000, 1000}, {100, 100}, {10, 10});
  writer.CreatePen(1, kPsSolid, 1, 0);
  writer.SelectObject(1);
  writer.Rectangle({0, 0, 10, 10});
  writer.SelectObject(kStockObject | 7);
  writer.DeleteObject(1);
  writer.Add(EMR_SETPALETTEENTRIES, {});
  writer.Add(EMR_EXTFLOODFILL, {});
  writer.Add(300, {});  // unknown type
  const auto file = EmfFile::Parse("p.emf", writer.Finish(), nullptr);
  ASSERT_TRUE(file);
  NullTarget target;
  const PlayStats stats = EmfPlayer().PlayPage(*file, target);
  EXPECT_EQ(stats.played, 5u);
  EXPECT_TRUE(stats.errors.empty());
  const std::map<uint32_t, uint64_t> expected = {{EMR_EXTFLOODFILL, 1}, {EMR_SETPALETTEENTRIES, 1}, {300, 1}};
  EXPECT_EQ(stats.notPlayed, expected);
  EXPECT_EQ(stats.NotPlayedTotal(), 3u);
  EXPECT_EQ(Printed(stats),
            "  EMR_EXTFLOODFILL: 1\n"
            "  EMR_SETPALETTEENTRIES: 1\n"
            "  EMR_UNKNOWN_300: 1\n");
}

// Each entry's minimum size is exactly what its decoder's fixed fields
// need: a word less runs the decoder itself out of bytes, the minimum does
// not (the text records get room for their optional rectangle). Records go
// straight to the entry, past the player's own size check.
TEST(EmfPlayer, RecordTableMinimumSizesAreTheFixedFields) {
  const auto file =
      EmfFile::Parse("t.emf", EmfWriter({0, 0, 1000, 1000}, {100, 100}, {10, 10}).Finish(), nullptr);
  ASSERT_TRUE(file);
  NullTarget target;
  DeviceContext dc(file->header(), target);
  const std::set<uint32_t> optionalRect = {EMR_EXTTEXTOUTA, EMR_EXTTEXTOUTW, EMR_SMALLTEXTOUT};
  for (uint32_t type = 0; type <= kEmrMaxType; ++type) {
    const RecordEntry* entry = FindRecordEntry(type);
    if (!entry) continue;
    const uint32_t enough = entry->minSize + (optionalRect.count(type) ? 16 : 0);
    for (const uint32_t size : {entry->minSize - 4, enough}) {
      if (size < 8) continue;
      std::vector<std::byte> bytes(size);
      bytes[0] = std::byte(type);
      bytes[4] = std::byte(size);
      const EmfRecord record{type, 2, 100, bytes, "t.emf"};
      std::string fault;
      entry->play(dc, record, &fault);
      EXPECT_EQ(fault == "too short", size < entry->minSize)
          << EmfRecordName(type) << ", " << size << " bytes";
    }
  }
}

}  // namespace
}  // namespace snk::gdi
