// The document's information dictionary and its XMP metadata packet.
//
// Both describe the same five texts and the same instant: the moment the
// document is finished, read once from the clock, shown in local time with
// the zone's offset behind it. The XMP packet is written only for PDF/A-1b
// files, whose catalog names it.
#pragma once

#include <string>

#include "base/byte_string.h"
#include "platform/win_types.h"
#include "writer/output_object.h"

// The producer of every file, in "/Producer" and in the XMP packet.
inline constexpr char kProducerText[] = "Kelmo PDF Forge Version 3.1.0.1210";

// The texts the user gave for the document; empty when none were given.
struct DocumentInfoText {
  CKM_WideString title;
  CKM_WideString subject;
  CKM_WideString author;
  CKM_WideString keywords;
  CKM_WideString creator;
};

// UTC and local time of one and the same second.
struct ClockReading {
  SYSTEMTIME utc{};
  SYSTEMTIME local{};
};
ClockReading ReadClock();

// The zone offset in minutes, local minus UTC, from the two readings' hour
// and minute. When the readings fall on different days, a day is added or
// taken away as their day keys (month + year * 10) * 100 + day compare.
// The key orders days wrongly across New Year, so 31 December 23:30 UTC
// read as 1 January 00:30 gives -2820 minutes; files have always shown
// this, and it is kept.
int ZoneOffsetMinutes(const SYSTEMTIME& utc, const SYSTEMTIME& local);

// "(D:YYYYMMDDHHmmSS" + sign + "HH'mm')": local time, then 'Z' for a zero
// offset (still followed by "00'00'"), '-' or '+' and the offset's amount.
std::string FormatPdfDate(const SYSTEMTIME& local, int offsetMinutes);
// "YYYY-MM-DDTHH:mm:SS" + sign + "HH:mm", with the same values.
std::string FormatXmpDate(const SYSTEMTIME& local, int offsetMinutes);

// The UTF-8 form of a text as the XMP packet holds it: cut at a character
// boundary so that it fits, with its terminating zero, in 520 bytes.
std::string XmpValue(std::u16string_view text);
inline constexpr size_t kXmpValueBuffer = 520;

// Fills the information dictionary: "/Producer", the five texts (always
// written, as UTF-16 with byte order mark, also when empty) and the two
// dates, which are the same instant.
void BuildInfoDictionary(CKMC_Dictionary& info, const DocumentInfoText& text, const std::string& pdfDate);

// The XMP packet of a PDF/A-1b file. Values are placed as they are, with
// no XML escaping.
std::string BuildXmpPacket(const DocumentInfoText& text, const std::string& xmpDate);
// The metadata stream: "/Type /Metadata", "/Subtype /XML", no filter.
void BuildMetadataStream(CKMC_Stream& stream, const DocumentInfoText& text, const std::string& xmpDate);
