#include "host/gdi/emf_player.h"

#include <algorithm>
#include <utility>

#include "host/gdi/device_context.h"
#include "host/gdi/record_table.h"

namespace snk::gdi {

PlayTarget::~PlayTarget() = default;

uint64_t PlayStats::NotPlayedTotal() const {
  uint64_t total = 0;
  for (const auto& [type, count] : notPlayed) total += count;
  return total;
}

EmfPlayer::EmfPlayer() = default;
EmfPlayer::~EmfPlayer() = default;

PlayStats EmfPlayer::PlayPage(const EmfFile& file, PlayTarget& target) {
  PlayStats stats;
  target_ = &target;
  stats_ = &stats;
  dc_ = std::make_unique<DeviceContext>(file.header(), target);
  for (const EmfRecord& record : file) {
    if (record.type == EMR_HEADER || record.type == EMR_EOF) continue;
    PlayRecord(record);
  }
  dc_.reset();
  target_ = nullptr;
  stats_ = nullptr;
  return stats;
}

void EmfPlayer::PlayRecord(const EmfRecord& record) {
  const RecordEntry* entry = FindRecordEntry(record.type);
  if (entry == nullptr) {
    ++stats_->notPlayed[record.type];
    return;
  }
  std::string fault;
  bool played = false;
  if (record.size() < entry->minSize)
    fault = "too short";
  else
    played = entry->play(*dc_, record, &fault);
  for (const std::string& note : dc_->TakeNotes()) RecordError(record, note);
  if (played)
    ++stats_->played;
  else
    RecordError(record, fault);
}

void EmfPlayer::RecordError(const EmfRecord& record, std::string_view fault) {
  stats_->errors.push_back(DescribeRecord(record) + ": " + std::string(fault));
}

void PrintNotPlayed(const PlayStats& stats, std::FILE* out) {
  std::vector<std::pair<std::string, uint64_t>> lines;
  for (const auto& [type, count] : stats.notPlayed) lines.emplace_back(EmfRecordTypeName(type), count);
  std::sort(lines.begin(), lines.end());
  for (const auto& [name, count] : lines)
    std::fprintf(out, "  %s: %llu\n", name.c_str(), static_cast<unsigned long long>(count));
}

}  // namespace snk::gdi
