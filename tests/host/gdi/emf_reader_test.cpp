// EMF reader: the shared corpus (malformed files refused with the right
// record and fault, well-formed files opened with the MANIFEST's figures)
// and authored files broken on purpose.
#include "host/gdi/emf_reader.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "host/gdi/emf_records.h"
#include "tools/sample_job/emf_writer.h"

namespace snk::gdi {
namespace {

const std::string kCorpus = SNK_SHARED_DIR "/corpus";

struct ManifestRow {
  std::vector<std::string> cells;
  const std::string& at(size_t column) const {  // 1-based, as the MANIFEST's columns
    static const std::string empty;
    return column <= cells.size() ? cells[column - 1] : empty;
  }
};

// The EMF rows of MANIFEST.tsv (spool files are not ours).
std::vector<ManifestRow> EmfManifest() {
  std::vector<ManifestRow> rows;
  std::ifstream in(kCorpus + "/MANIFEST.tsv");
  std::string line;
  std::getline(in, line);  // column names
  while (std::getline(in, line)) {
    ManifestRow row;
    std::stringstream cells(line);
    for (std::string cell; std::getline(cells, cell, '\t');) row.cells.push_back(cell);
    if (row.at(1).rfind("emf/", 0) == 0) rows.push_back(row);
  }
  return rows;
}

#define SKIP_WITHOUT_CORPUS()                              \
  if (!std::filesystem::exists(kCorpus + "/MANIFEST.tsv")) \
  GTEST_SKIP() << "shared EMF corpus not found at " << kCorpus << " (SNK_SHARED_DIR); corpus checks skipped"

std::string FileName(const std::string& path) { return std::filesystem::path(path).filename().string(); }

TEST(EmfCorpus, MalformedFilesNameRecordAndFault) {
  SKIP_WITHOUT_CORPUS();
  const std::regex place("record (\\S+) at offset (\\d+)");
  const std::regex notHeader("first record is (\\S+), not EMR_HEADER");
  int checked = 0;
  for (const ManifestRow& row : EmfManifest()) {
    const std::string& verdict = row.at(10);
    if (verdict.rfind("MALFORMED: ", 0) != 0) continue;
    const std::string path = kCorpus + "/" + row.at(1);
    SCOPED_TRACE(path);
    std::string error;
    EXPECT_FALSE(EmfFile::Open(path, &error));
    EXPECT_NE(error.find(FileName(path) + ": record "), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
    const std::string fault = verdict.substr(11, verdict.find(';') - 11);
    std::smatch m;
    if (std::regex_search(fault, m, notHeader)) {
      EXPECT_NE(error.find("record 1 (" + m[1].str() +
                           " at offset 0): first record is not "
                           "EMR_HEADER"),
                std::string::npos)
          << error;
    } else {
      ASSERT_TRUE(std::regex_search(fault, m, place)) << fault;
      EXPECT_NE(error.find("(" + m[1].str() + " at offset " + m[2].str() + "): size "), std::string::npos)
          << error;
      const bool misaligned = fault.find("not a multiple of 4") != std::string::npos;
      EXPECT_NE(error.find(misaligned ? "is not a multiple of 4" : "runs past the end of the file"),
                std::string::npos)
          << error;
    }
    ++checked;
  }
  EXPECT_GE(checked, 6);
}

// emfstat shows the description with NULs as " | ", trimmed.
std::string ShownDescription(const std::u16string& text) {
  std::string shown;
  for (char16_t c : text) {
    if (c == 0)
      shown += " | ";
    else if (c < 0x80)
      shown += static_cast<char>(c);
    else
      return "";  // not compared
  }
  const size_t first = shown.find_first_not_of(" |");
  const size_t last = shown.find_last_not_of(" |");
  return first == std::string::npos ? "" : shown.substr(first, last - first + 1);
}

void CheckWellFormed(const ManifestRow& row) {
  const std::string path = kCorpus + "/" + row.at(1);
  std::string error;
  const auto file = EmfFile::Open(path, &error);
  ASSERT_TRUE(file) << error;
  EXPECT_EQ(std::to_string(file->recordCount()), row.at(8));
  double width = 0;
  double height = 0;
  ASSERT_EQ(std::sscanf(row.at(7).c_str(), "%lfx%lfmm", &width, &height), 2) << row.at(7);
  const PageSize frame = file->FrameSizeMm();
  EXPECT_NEAR(frame.width, width, 0.1);
  EXPECT_NEAR(frame.height, height, 0.1);
  const auto page = file->PageSizeMm();
  EXPECT_EQ(page.has_value(), frame.width >= 1 && frame.height >= 1);
  const std::string shown = ShownDescription(file->header().description);
  if (!shown.empty()) {
    EXPECT_EQ(shown, row.at(13));
  }
  const bool countWarning = row.at(11).find("header nRecords") != std::string::npos;
  bool warned = false;
  for (const std::string& w : file->warnings()) {
    EXPECT_EQ(w.rfind(path + ": ", 0), 0u) << w;
    warned = warned || w.find("nRecords") != std::string::npos;
  }
  EXPECT_EQ(warned, countWarning);
}

TEST(EmfCorpus, WellFormedFilesOpenWithManifestFigures) {
  SKIP_WITHOUT_CORPUS();
  int opened = 0;
  for (const ManifestRow& row : EmfManifest()) {
    if (row.at(10) != "ok") continue;
    SCOPED_TRACE(row.at(1));
    CheckWellFormed(row);
    ++opened;
  }
  EXPECT_GE(opened, 100);
}

TEST(EmfCorpus, OddHeadersAreWarningsOrFallbacks) {
  SKIP_WITHOUT_CORPUS();
  std::string error;
  auto empty = EmfFile::Open(kCorpus + "/emf/poix-bug65228-empty.emf", &error);
  ASSERT_TRUE(empty) << error;
  EXPECT_FALSE(empty->PageSizeMm());  // a 0.01 mm frame
  auto niche = EmfFile::Open(kCorpus + "/emf/hb-NicheRecords.emf", &error);
  ASSERT_TRUE(niche) << error;
  EXPECT_FALSE(niche->PageSizeMm());  // negative height
  auto desc = EmfFile::Open(kCorpus + "/emf/e2s-bad-080539.emf", &error);
  ASSERT_TRUE(desc) << error;
  EXPECT_TRUE(desc->header().description.empty());
  ASSERT_EQ(desc->warnings().size(), 1u);
  EXPECT_NE(desc->warnings()[0].find("record 1 (EMR_HEADER at offset 0): description"), std::string::npos);
  auto tail = EmfFile::Open(kCorpus + "/emf/e2s-test-182.emf", &error);
  ASSERT_TRUE(tail) << error;
  EXPECT_EQ(tail->bytes().size(), 33716u);
  ASSERT_FALSE(tail->warnings().empty());
  EXPECT_NE(tail->warnings()[0].find("11240 bytes after nBytes (33716) are ignored"), std::string::npos);
}

// ------------------------------------------------------------ authored files

std::vector<std::byte> SmallFile() {
  EmfWriter writer({0, 0, 21000, 29700}, {2480, 3508}, {210, 297});
  writer.SetBkMode(kTransparent);
  writer.CreatePen(1, kPsSolid, 5, Rgb(1, 2, 3));
  writer.SelectObject(1);
  writer.MoveToEx(10, 20);
  writer.LineTo(300, 400);
  writer.ExtTextOutW(50, 60, u"Hi");
  writer.DeleteObject(1);
  return writer.Finish();
}

void PutU32(std::vector<std::byte>& bytes, size_t offset, uint32_t value) {
  for (int i = 0; i < 4; ++i) bytes[offset + i] = static_cast<std::byte>(value >> (8 * i));
}

std::string ParseError(std::vector<std::byte> bytes) {
  std::string error;
  EXPECT_FALSE(EmfFile::Parse("t.emf", std::move(bytes), &error));
  return error;
}

TEST(EmfReader, RecordFaultsAreNamed) {
  const std::vector<std::byte> good = SmallFile();
  const auto file = EmfFile::Parse("t.emf", good, nullptr);
  ASSERT_TRUE(file);
  const EmfRecord pen = file->record(2);
  ASSERT_EQ(pen.type, EMR_CREATEPEN);
  const std::string at = "t.emf: record 3 (EMR_CREATEPEN at offset " + std::to_string(pen.offset) + "): ";
  EXPECT_EQ(DescribeRecord(pen) + ": ", at);

  auto bad = good;
  PutU32(bad, pen.offset + 4, 30);
  EXPECT_EQ(ParseError(bad), at + "size 30 is not a multiple of 4");
  PutU32(bad, pen.offset + 4, 4);
  EXPECT_EQ(ParseError(bad), at + "size 4 is less than 8");
  PutU32(bad, pen.offset + 4, 0xFFFFFFF0u);
  EXPECT_EQ(ParseError(bad),
            at + "size 4294967280 runs past the end of the file (" + std::to_string(good.size()) + " bytes)");
  bad = good;
  PutU32(bad, 48, static_cast<uint32_t>(pen.offset + 8));  // nBytes cuts the pen
  EXPECT_EQ(ParseError(bad), at + "size 28 runs past nBytes (" + std::to_string(pen.offset + 8) + ")");
}

TEST(EmfReader, HeaderFaults) {
  const std::vector<std::byte> good = SmallFile();
  auto bad = good;
  PutU32(bad, 40, 0x12345678);
  EXPECT_EQ(ParseError(bad),
            "t.emf: record 1 (EMR_HEADER at offset 0): signature 0x12345678 at offset 40 is not "
            "0x464D4520");
  bad = good;
  PutU32(bad, 0, EMR_SETLAYOUT);
  EXPECT_EQ(ParseError(bad), "t.emf: record 1 (EMR_SETLAYOUT at offset 0): first record is not EMR_HEADER");
  bad = good;
  PutU32(bad, 4, 84);
  EXPECT_EQ(ParseError(bad), "t.emf: record 1 (EMR_HEADER at offset 0): size 84 is less than 88");
  EXPECT_EQ(ParseError({good.begin(), good.begin() + 87}),
            "t.emf: 87 bytes is too short for an EMF (at least 88)");
  bad = good;
  PutU32(bad, good.size() - 20, EMR_SETBKMODE);  // EMR_EOF becomes something else
  EXPECT_NE(ParseError(bad).find("t.emf: no EMR_EOF record"), std::string::npos);
}

TEST(EmfReader, TruncatedFilesFailCleanly) {
  const std::vector<std::byte> good = SmallFile();
  for (size_t length = 0; length < good.size(); ++length) {
    const std::string error = ParseError({good.begin(), good.begin() + length});
    EXPECT_EQ(error.rfind("t.emf: ", 0), 0u) << length << ": " << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
  // Cut at a record boundary, the missing bytes are what nBytes reports.
  const auto file = EmfFile::Parse("t.emf", good, nullptr);
  const size_t cut = file->record(3).offset;
  EXPECT_EQ(ParseError({good.begin(), good.begin() + cut}),
            "t.emf: header nBytes " + std::to_string(good.size()) + " exceeds the file size (" +
                std::to_string(cut) + " bytes); the file is truncated");
}

TEST(EmfReader, BitFlipsEitherOpenOrFailWithOneLine) {
  const std::vector<std::byte> good = SmallFile();
  for (size_t i = 0; i < good.size(); ++i) {
    for (uint8_t mask : {0x01, 0x10, 0x80, 0xFF}) {
      auto bytes = good;
      bytes[i] ^= std::byte{mask};
      std::string error;
      const auto file = EmfFile::Parse("t.emf", bytes, &error);
      if (file) {
        size_t total = 0;
        for (const EmfRecord& record : *file) total += record.size();
        EXPECT_LE(total, file->bytes().size());
      } else {
        EXPECT_EQ(error.rfind("t.emf: ", 0), 0u) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos);
      }
    }
  }
}

TEST(EmfReader, IgnoredTailsAreWarnings) {
  const std::vector<std::byte> good = SmallFile();
  auto longer = good;
  longer.resize(good.size() + 6, std::byte{0x55});
  auto file = EmfFile::Parse("t.emf", longer, nullptr);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->bytes().size(), good.size());
  ASSERT_EQ(file->warnings().size(), 1u);
  EXPECT_EQ(file->warnings()[0],
            "t.emf: 6 bytes after nBytes (" + std::to_string(good.size()) + ") are ignored");

  // Two records after EMR_EOF, inside nBytes.
  auto after = good;
  const std::byte extra[] = {std::byte{18}, {}, {}, {}, std::byte{12}, {}, {}, {}, std::byte{1}, {}, {}, {}};
  after.insert(after.end(), std::begin(extra), std::end(extra));
  after.insert(after.end(), std::begin(extra), std::end(extra));
  PutU32(after, 48, static_cast<uint32_t>(after.size()));
  file = EmfFile::Parse("t.emf", after, nullptr);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->recordCount(), 9u);
  EXPECT_EQ(file->record(8).type, EMR_EOF);
  ASSERT_EQ(file->warnings().size(), 1u);
  EXPECT_EQ(file->warnings()[0], "t.emf: record 10 (EMR_SETBKMODE at offset " + std::to_string(good.size()) +
                                     "): 24 bytes after EMR_EOF are ignored");
}

TEST(EmfReader, RecordCountAndDescriptionProblemsAreWarnings) {
  auto bytes = SmallFile();
  PutU32(bytes, 52, 99);          // nRecords
  PutU32(bytes, 60, 0x7FFFFFFF);  // nDescription far past the header
  const auto file = EmfFile::Parse("t.emf", bytes, nullptr);
  ASSERT_TRUE(file);
  EXPECT_TRUE(file->header().description.empty());
  ASSERT_EQ(file->warnings().size(), 2u);
  EXPECT_NE(file->warnings()[0].find("description (2147483647 characters at offset 108) lies outside"),
            std::string::npos);
  EXPECT_EQ(file->warnings()[1], "t.emf: header nRecords 99 disagrees with the 9 records found");
}

TEST(EmfReader, PageSizeFromFrame) {
  auto withFrame = [](RECTL frame) {
    EmfWriter writer(frame, {100, 100}, {10, 10});
    return EmfFile::Parse("t.emf", writer.Finish(), nullptr)->PageSizeMm();
  };
  const auto a4 = withFrame({0, 0, 21000, 29700});
  ASSERT_TRUE(a4);
  EXPECT_DOUBLE_EQ(a4->width, 210.0);
  EXPECT_DOUBLE_EQ(a4->height, 297.0);
  const auto offset = withFrame({-500, 1000, 20499, 30699});  // not at the origin, inclusive style
  ASSERT_TRUE(offset);
  EXPECT_DOUBLE_EQ(offset->width, 209.99);
  EXPECT_DOUBLE_EQ(offset->height, 296.99);
  EXPECT_FALSE(withFrame({0, 0, 0, 0}));
  EXPECT_FALSE(withFrame({0, 0, 99, 29700}));
  EXPECT_FALSE(withFrame({0, 29700, 21000, 0}));
  EXPECT_FALSE(withFrame({INT32_MIN, 0, INT32_MAX, -1}));  // no overflow into "positive"
}

TEST(EmfRecords, Names) {
  EXPECT_STREQ(EmfRecordName(EMR_POLYLINE), "EMR_POLYLINE");
  EXPECT_STREQ(EmfRecordName(EMR_CREATECOLORSPACEW), "EMR_CREATECOLORSPACEW");
  EXPECT_STREQ(EmfRecordName(EMR_COMMENT), "EMR_COMMENT");
  for (uint32_t unassigned : {0u, 69u, 107u, 117u, 123u}) {
    EXPECT_FALSE(IsKnownEmfRecord(unassigned));
    EXPECT_EQ(EmfRecordTypeName(unassigned), "EMR_UNKNOWN_" + std::to_string(unassigned));
  }
  EXPECT_EQ(EmfRecordTypeName(4294967295u), "EMR_UNKNOWN_4294967295");
  int known = 0;
  for (uint32_t type = 0; type <= 200; ++type) known += IsKnownEmfRecord(type);
  EXPECT_EQ(known, 119);
}

}  // namespace
}  // namespace snk::gdi
