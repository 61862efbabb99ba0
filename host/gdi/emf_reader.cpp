#include "host/gdi/emf_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/gdi/emf_records.h"
#include "host/gdi/record_fields.h"

namespace snk::gdi {
namespace {

// Field offsets inside EMR_HEADER ([MS-EMF] 2.3.4.2, 2.2.9).
constexpr size_t kSignatureOffset = 40;
constexpr uint32_t kHeaderExt1Size = 100;
constexpr uint32_t kHeaderExt2Size = 108;
constexpr uint32_t kRecordMinSize = 8;

uint32_t LoadU32(std::span<const std::byte> bytes, size_t offset) {
  ByteReader reader(bytes);
  uint32_t value = 0;
  reader.Seek(offset);
  reader.ReadU32(value);
  return value;
}

std::string Hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", value);
  return text;
}

std::string RecordPlace(std::string_view file, size_t index, uint32_t type, size_t offset) {
  std::string text(file);
  text += ": record " + std::to_string(index) + " (" + EmfRecordTypeName(type) + " at offset " +
          std::to_string(offset) + ")";
  return text;
}

}  // namespace

ByteReader EmfRecord::Reader() const {
  ByteReader reader(bytes);
  reader.Skip(8);
  return reader;
}

std::string DescribeRecord(const EmfRecord& record) {
  return RecordPlace(record.file, record.index, record.type, record.offset);
}

// Walks and checks the chain once; on success hands over the checked data.
class EmfFile::Checker {
 public:
  Checker(std::string name, std::vector<std::byte> bytes) : data_(std::make_shared<Data>()) {
    data_->name = std::move(name);
    data_->bytes = std::move(bytes);
  }

  std::optional<EmfFile> Run(std::string* error) {
    if (!CheckHeaderRecord() || !ReadHeader() || !WalkChain()) {
      if (error) *error = error_;
      return std::nullopt;
    }
    return EmfFile(std::move(data_));
  }

 private:
  std::span<const std::byte> all() const { return data_->bytes; }
  const std::string& name() const { return data_->name; }

  bool FailAt(size_t index, uint32_t type, size_t offset, const std::string& fault) {
    return Fail(&error_, RecordPlace(name(), index, type, offset) + ": " + fault);
  }
  void Warn(std::string message) { data_->warnings.push_back(std::move(message)); }

  bool CheckHeaderRecord() {
    const size_t fileSize = all().size();
    if (fileSize < kEmfHeaderMinSize)
      return Fail(&error_,
                  name() + ": " + std::to_string(fileSize) + " bytes is too short for an EMF (at least 88)");
    if (fileSize > kMaxEmfFileBytes)
      return Fail(&error_,
                  name() + ": " + std::to_string(fileSize) + " bytes is larger than the EMF size limit");
    const uint32_t type = LoadU32(all(), 0);
    const uint32_t size = LoadU32(all(), 4);
    if (type != EMR_HEADER) return FailAt(1, type, 0, "first record is not EMR_HEADER");
    if (size < kEmfHeaderMinSize)
      return FailAt(1, type, 0, "size " + std::to_string(size) + " is less than 88");
    if (size > fileSize) return FailAt(1, type, 0, PastFileEnd(size));
    const uint32_t signature = LoadU32(all(), kSignatureOffset);
    if (signature != kEmfSignature)
      return FailAt(1, type, 0, "signature " + Hex(signature) + " at offset 40 is not " + Hex(kEmfSignature));
    return true;
  }

  std::string PastFileEnd(uint64_t size) const {
    return "size " + std::to_string(size) + " runs past the end of the file (" +
           std::to_string(all().size()) + " bytes)";
  }

  // The size check above makes every fixed field below readable.
  bool ReadHeader() {
    EmfHeader& h = data_->header;
    h.size = LoadU32(all(), 4);
    ByteReader reader(all().first(h.size));
    uint32_t signature = 0;
    uint16_t reserved = 0;
    reader.Skip(8);
    ReadRect(reader, h.bounds);
    ReadRect(reader, h.frame);
    reader.ReadU32(signature);
    reader.ReadU32(h.version);
    reader.ReadU32(h.bytes);
    reader.ReadU32(h.records);
    reader.ReadU16(h.handles);
    reader.ReadU16(reserved);
    reader.ReadU32(h.descriptionChars);
    reader.ReadU32(h.descriptionOffset);
    reader.ReadU32(h.paletteEntries);
    ReadSize(reader, h.device);
    ReadSize(reader, h.millimeters);
    ReadDescription();
    ReadExtensions(reader);
    return true;
  }

  bool DescriptionInside() const {
    const EmfHeader& h = data_->header;
    const uint64_t end = uint64_t{h.descriptionOffset} + 2 * uint64_t{h.descriptionChars};
    return h.descriptionOffset >= kEmfHeaderMinSize && end <= h.size;
  }

  void ReadDescription() {
    EmfHeader& h = data_->header;
    if (h.descriptionChars == 0) return;
    if (!DescriptionInside()) {
      Warn(RecordPlace(name(), 1, EMR_HEADER, 0) + ": description (" + std::to_string(h.descriptionChars) +
           " characters at offset " + std::to_string(h.descriptionOffset) +
           ") lies outside the header record; ignored");
      return;
    }
    ByteReader reader(all().first(h.size));
    reader.Seek(h.descriptionOffset);
    std::u16string text;
    for (uint32_t i = 0; i < h.descriptionChars; ++i) {
      uint16_t unit = 0;
      reader.ReadU16(unit);
      text.push_back(static_cast<char16_t>(unit));
    }
    while (!text.empty() && text.back() == u'\0') text.pop_back();
    h.description = std::move(text);
  }

  // [MS-EMF] 2.3.4.2: an extension is present when the record is long
  // enough and the description does not start inside it.
  void ReadExtensions(ByteReader& reader) {
    EmfHeader& h = data_->header;
    const bool described = h.descriptionChars != 0 && DescriptionInside();
    auto present = [&](uint32_t end) { return h.size >= end && (!described || h.descriptionOffset >= end); };
    if (!present(kHeaderExt1Size)) return;
    reader.ReadU32(h.pixelFormatSize);
    reader.ReadU32(h.pixelFormatOffset);
    reader.ReadU32(h.openGL);
    if (!present(kHeaderExt2Size)) return;
    SIZEL micrometers{};
    ReadSize(reader, micrometers);
    h.micrometers = micrometers;
  }

  // The metafile is the first nBytes of the file; records must lie inside.
  bool WalkChain() {
    const size_t fileSize = all().size();
    const uint32_t declared = data_->header.bytes;
    const size_t limit = std::min<size_t>(declared, fileSize);
    if (declared < fileSize)
      Warn(name() + ": " + std::to_string(fileSize - declared) + " bytes after nBytes (" +
           std::to_string(declared) + ") are ignored");
    size_t offset = 0;
    bool sawEof = false;
    while (offset < limit && !sawEof) {
      if (!CheckRecord(offset, limit)) return false;
      const Entry& entry = data_->index.back();
      offset += entry.size;
      sawEof = entry.type == EMR_EOF;
    }
    if (declared > fileSize)
      return Fail(&error_, name() + ": header nBytes " + std::to_string(declared) +
                               " exceeds the file size (" + std::to_string(fileSize) +
                               " bytes); the file is truncated");
    if (!sawEof)
      return Fail(&error_, name() + ": no EMR_EOF record in the " + std::to_string(limit) +
                               " bytes of the metafile (" + std::to_string(data_->index.size()) +
                               " records)");
    data_->size = limit;
    WarnAfterEof(offset, limit);
    WarnRecordCount();
    return true;
  }

  bool CheckRecord(size_t offset, size_t limit) {
    const size_t index = data_->index.size() + 1;
    const size_t left = limit - offset;
    if (left < kRecordMinSize)
      return Fail(&error_, name() + ": record " + std::to_string(index) + " at offset " +
                               std::to_string(offset) + ": only " + std::to_string(left) +
                               " bytes are left for it");
    const uint32_t type = LoadU32(all(), offset);
    const uint32_t size = LoadU32(all(), offset + 4);
    if (size < kRecordMinSize)
      return FailAt(index, type, offset, "size " + std::to_string(size) + " is less than 8");
    if (size % 4 != 0)
      return FailAt(index, type, offset, "size " + std::to_string(size) + " is not a multiple of 4");
    if (size > left) {
      if (size > all().size() - offset) return FailAt(index, type, offset, PastFileEnd(size));
      return FailAt(
          index, type, offset,
          "size " + std::to_string(size) + " runs past nBytes (" + std::to_string(data_->header.bytes) + ")");
    }
    data_->index.push_back(Entry{type, size, offset});
    return true;
  }

  void WarnAfterEof(size_t offset, size_t limit) {
    if (offset >= limit) return;
    const std::string ignored = std::to_string(limit - offset) + " bytes after EMR_EOF are ignored";
    if (limit - offset < kRecordMinSize) {
      Warn(name() + ": " + ignored + " (from offset " + std::to_string(offset) + ")");
      return;
    }
    Warn(RecordPlace(name(), data_->index.size() + 1, LoadU32(all(), offset), offset) + ": " + ignored);
  }

  void WarnRecordCount() {
    const uint32_t declared = data_->header.records;
    if (declared == data_->index.size()) return;
    Warn(name() + ": header nRecords " + std::to_string(declared) + " disagrees with the " +
         std::to_string(data_->index.size()) + " records found");
  }

  std::shared_ptr<Data> data_;
  std::string error_;
};

std::optional<EmfFile> EmfFile::Parse(std::string name, std::vector<std::byte> bytes, std::string* error) {
  return Checker(std::move(name), std::move(bytes)).Run(error);
}

std::optional<EmfFile> EmfFile::Open(const std::string& path, std::string* error) {
  auto fail = [&](const std::string& fault) -> std::optional<EmfFile> {
    if (error) *error = path + ": " + fault;
    return std::nullopt;
  };
  // The size is checked before anything is read; a device (/dev/zero) is
  // refused, a pipe is read up to the limit.
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return fail(std::string("cannot open: ") + std::strerror(errno));
  struct stat st;
  if (fstat(fd, &st) != 0 || S_ISDIR(st.st_mode) || S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) {
    close(fd);
    return fail("not a regular file");
  }
  if (S_ISREG(st.st_mode) && uint64_t(st.st_size) > kMaxEmfFileBytes) {
    close(fd);
    return fail(std::to_string(st.st_size) + " bytes is larger than the EMF size limit");
  }
  std::vector<std::byte> bytes(S_ISREG(st.st_mode) ? size_t(st.st_size) : 0);
  size_t filled = 0;
  for (;;) {
    if (filled == bytes.size())
      bytes.resize(std::min(kMaxEmfFileBytes + 1, std::max<size_t>(filled * 2, 65536)));
    ssize_t got = read(fd, bytes.data() + filled, bytes.size() - filled);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0 || (filled += size_t(got)) > kMaxEmfFileBytes) {
      close(fd);
      if (got < 0) return fail("read error");
      if (filled > kMaxEmfFileBytes) return fail("larger than the EMF size limit");
      break;
    }
  }
  bytes.resize(filled);
  return Parse(path, std::move(bytes), error);
}

std::span<const std::byte> EmfFile::bytes() const {
  return std::span<const std::byte>(data_->bytes).first(data_->size);
}

EmfRecord EmfFile::record(size_t i) const {
  const Entry& entry = data_->index.at(i);
  EmfRecord record;
  record.type = entry.type;
  record.index = i + 1;
  record.offset = entry.offset;
  record.bytes = std::span<const std::byte>(data_->bytes).subspan(entry.offset, entry.size);
  record.file = data_->name;
  return record;
}

PageSize EmfFile::FrameSizeMm() const {
  const RECTL& frame = data_->header.frame;
  const double width = (int64_t{frame.right} - frame.left) / 100.0;
  const double height = (int64_t{frame.bottom} - frame.top) / 100.0;
  return PageSize{width, height};
}

std::optional<PageSize> EmfFile::PageSizeMm() const {
  const RECTL& frame = data_->header.frame;
  if (int64_t{frame.right} - frame.left < kMinPageFrame || int64_t{frame.bottom} - frame.top < kMinPageFrame)
    return std::nullopt;
  return FrameSizeMm();
}

}  // namespace snk::gdi
