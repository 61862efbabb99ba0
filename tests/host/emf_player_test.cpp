// EMF player: records the device context knows are played, the others are
// counted as not played, by type, and listed by name.
#include "host/gdi/emf_player.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "host/gdi/emf_writer.h"
#include "tests/host/null_target.h"

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

TEST(EmfPlayer, EmptyPageHasNothingToReport) {
  EmfWriter writer({0, 0, 1000, 1000}, {100, 100}, {10, 10});
  const auto file = EmfFile::Parse("p.emf", writer.Finish(), nullptr);
  ASSERT_TRUE(file);
  NullTarget target;
  const PlayStats stats = EmfPlayer().PlayPage(*file, target);
  EXPECT_TRUE(stats.notPlayed.empty());
  EXPECT_EQ(Printed(stats), "");
}

}  // namespace
}  // namespace snk::gdi
