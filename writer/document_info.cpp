#include "writer/document_info.h"

#include <cstdlib>

#include "base/number_format.h"
#include "platform/win32.h"

namespace {

// Namespace URIs of the schemas the packet uses.
constexpr char kRdfNamespace[] = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
constexpr char kPdfaIdNamespace[] = "http://www.aiim.org/pdfa/ns/id/";
constexpr char kDublinCoreNamespace[] = "http://purl.org/dc/elements/1.1/";
constexpr char kXmpBasicNamespace[] = "http://ns.adobe.com/xap/1.0/";
constexpr char kAdobePdfNamespace[] = "http://ns.adobe.com/pdf/1.3/";

bool SameSecond(const SYSTEMTIME& a, const SYSTEMTIME& b) {
  return a.wYear == b.wYear && a.wMonth == b.wMonth && a.wDay == b.wDay && a.wHour == b.wHour &&
         a.wMinute == b.wMinute && a.wSecond == b.wSecond;
}

// A non-negative number with leading zeros up to `width` digits.
std::string Padded(int value, size_t width) {
  std::string digits = snk::FormatInteger(value);
  if (digits.size() < width) digits.insert(0, width - digits.size(), '0');
  return digits;
}

struct DateParts {
  std::string year, month, day, hour, minute, second;
  char sign;
  std::string offsetHours, offsetMinutes;
};

DateParts SplitDate(const SYSTEMTIME& local, int offsetMinutes) {
  DateParts parts;
  parts.year = Padded(local.wYear, 4);
  parts.month = Padded(local.wMonth, 2);
  parts.day = Padded(local.wDay, 2);
  parts.hour = Padded(local.wHour, 2);
  parts.minute = Padded(local.wMinute, 2);
  parts.second = Padded(local.wSecond, 2);
  parts.sign = offsetMinutes == 0 ? 'Z' : offsetMinutes < 0 ? '-' : '+';
  int amount = std::abs(offsetMinutes);
  parts.offsetHours = Padded(amount / 60, 2);
  parts.offsetMinutes = Padded(amount % 60, 2);
  return parts;
}

int DayKey(const SYSTEMTIME& t) { return (t.wMonth + t.wYear * 10) * 100 + t.wDay; }

}  // namespace

// The local reading is taken between two UTC readings; when those show the
// same second, all three describe the same second, and local time is what
// the system's zone rules make of it. A reading that straddles a change of
// second is taken again (the second attempt cannot straddle another).
ClockReading ReadClock() {
  ClockReading reading;
  for (int attempt = 0; attempt < 3; ++attempt) {
    SYSTEMTIME after{};
    GetSystemTime(&reading.utc);
    GetLocalTime(&reading.local);
    GetSystemTime(&after);
    if (SameSecond(reading.utc, after)) break;
  }
  return reading;
}

int ZoneOffsetMinutes(const SYSTEMTIME& utc, const SYSTEMTIME& local) {
  int offset = (local.wHour - utc.wHour) * 60 + (local.wMinute - utc.wMinute);
  int utcKey = DayKey(utc);
  int localKey = DayKey(local);
  if (utcKey < localKey) offset += 1440;
  if (localKey < utcKey) offset -= 1440;
  return offset;
}

std::string FormatPdfDate(const SYSTEMTIME& local, int offsetMinutes) {
  DateParts p = SplitDate(local, offsetMinutes);
  return "(D:" + p.year + p.month + p.day + p.hour + p.minute + p.second + p.sign + p.offsetHours + "'" +
         p.offsetMinutes + "')";
}

std::string FormatXmpDate(const SYSTEMTIME& local, int offsetMinutes) {
  DateParts p = SplitDate(local, offsetMinutes);
  return p.year + "-" + p.month + "-" + p.day + "T" + p.hour + ":" + p.minute + ":" + p.second + p.sign +
         p.offsetHours + ":" + p.offsetMinutes;
}

std::string XmpValue(std::u16string_view text) {
  std::string bytes = CKM_WideString(text).ToUTF8();
  if (bytes.size() < kXmpValueBuffer) return bytes;
  // Too long for the buffer: keep whole characters only, leaving room for
  // the terminating zero.
  size_t end = kXmpValueBuffer - 1;
  while (end > 0 && (static_cast<uint8_t>(bytes[end]) & 0xC0) == 0x80) --end;
  bytes.resize(end);
  return bytes;
}

void BuildInfoDictionary(CKMC_Dictionary& info, const DocumentInfoText& text, const std::string& pdfDate) {
  info.SetLiteral("/Producer", CKM_ByteString(std::string("(") + kProducerText + ")"));
  info.SetText("/Title", text.title);
  info.SetText("/Subject", text.subject);
  info.SetText("/Keywords", text.keywords);
  info.SetText("/Author", text.author);
  info.SetText("/Creator", text.creator);
  info.SetLiteral("/CreationDate", CKM_ByteString(pdfDate));
  info.SetLiteral("/ModDate", CKM_ByteString(pdfDate));
}

std::string BuildXmpPacket(const DocumentInfoText& text, const std::string& xmpDate) {
  std::string x;
  x += "<?xpacket begin=\"\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
       "   <rdf:RDF xmlns:rdf=\"";
  x += kRdfNamespace;
  x += "\">\n      <rdf:Description rdf:about=\"\" xmlns:pdfaid=\"";
  x += kPdfaIdNamespace;
  x += "\">\n         <pdfaid:part>1</pdfaid:part>\n         <pdfaid:conformance>B</pdfaid:conformance>\n"
       "      </rdf:Description>\n";

  // Dublin Core: creator, title, description and subject.
  x += "      <rdf:Description rdf:about=\"\" xmlns:dc=\"";
  x += kDublinCoreNamespace;
  x += "\">\n         <dc:creator>\n            <rdf:Seq>\n               <rdf:li>";
  x += XmpValue(text.author.view());
  x += "</rdf:li>\n            </rdf:Seq>\n         </dc:creator>\n         <dc:title>\n"
       "            <rdf:Alt>\n               <rdf:li xml:lang=\"x-default\">";
  x += XmpValue(text.title.view());
  x += "</rdf:li>\n            </rdf:Alt>\n         </dc:title>\n";
  x += "<dc:description>\n               <rdf:Alt>\n                  <rdf:li xml:lang=\"x-default\">";
  x += XmpValue(text.subject.view());
  x += "</rdf:li>\n          </rdf:Alt>        </dc:description>";
  x += "<dc:subject>\n                <rdf:Bag>\n                    <rdf:li>";
  x += XmpValue(text.keywords.view());
  x += "</rdf:li>\n                </rdf:Bag>\n             </dc:subject>      </rdf:Description>\n";

  // XMP basic: the creating program and the dates.
  x += "      <rdf:Description rdf:about=\"\" xmlns:xap=\"";
  x += kXmpBasicNamespace;
  x += "\">\n         <xap:CreatorTool>";
  x += XmpValue(text.creator.view());
  x += "</xap:CreatorTool>\n         <xap:CreateDate>";
  x += xmpDate;
  x += "</xap:CreateDate>\n         <xap:ModifyDate>";
  x += xmpDate;
  x += "</xap:ModifyDate>\n      </rdf:Description>\n";

  // Adobe PDF: producer and keywords.
  x += "      <rdf:Description rdf:about=\"\" xmlns:pdf=\"";
  x += kAdobePdfNamespace;
  x += "\">\n         <pdf:Producer>";
  x += kProducerText;
  x += "</pdf:Producer>\n            <pdf:Keywords>";
  x += XmpValue(text.keywords.view());
  x += "</pdf:Keywords>\n      </rdf:Description>\n   </rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>";
  return x;
}

void BuildMetadataStream(CKMC_Stream& stream, const DocumentInfoText& text, const std::string& xmpDate) {
  stream.dict.SetLiteral("/Type", "/Metadata");
  stream.dict.SetLiteral("/Subtype", "/XML");
  stream.data = CKM_ByteString(BuildXmpPacket(text, xmpDate));
}
