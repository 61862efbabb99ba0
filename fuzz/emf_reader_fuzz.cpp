// Fuzz target for the EMF reader and player: the bytes are parsed as an EMF;
// when the file opens, every record is visited and the page is played onto a
// target that enumerates every path and clip path it receives.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "host/gdi/emf_player.h"
#include "host/gdi/emf_reader.h"
#include "tests/host/gdi/null_target.h"

namespace {

using NullTarget = snk::test::NullTarget;

// Touches a record's bytes and fields the way the player's decoders will.
size_t Visit(const snk::gdi::EmfRecord& record) {
  size_t sum = record.bytes.size() + static_cast<size_t>(record.bytes.back());
  snk::ByteReader reader = record.Reader();
  uint32_t field = 0;
  while (reader.ReadU32(field)) sum += field;
  return sum + snk::gdi::DescribeRecord(record).size();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const auto* first = reinterpret_cast<const std::byte*>(data);
  std::string error;
  auto file = snk::gdi::EmfFile::Parse("fuzz.emf", std::vector<std::byte>(first, first + size), &error);
  if (!file) return 0;
  volatile size_t sink = 0;
  for (const snk::gdi::EmfRecord& record : *file) sink = sink + Visit(record);
  (void)file->PageSizeMm();
  NullTarget target;
  snk::gdi::EmfPlayer player;
  const snk::gdi::PlayStats stats = player.PlayPage(*file, target);
  static std::FILE* devnull = std::fopen("/dev/null", "w");
  if (devnull) {
    snk::gdi::PrintNotPlayed(stats, devnull);
    for (const std::string& line : stats.errors) std::fprintf(devnull, "%s\n", line.c_str());
    std::fprintf(devnull, "%zu\n", target.points());
  }
  return 0;
}
