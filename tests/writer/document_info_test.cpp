// The information dictionary, the two date forms and the XMP packet.
#include "writer/document_info.h"

#include <gtest/gtest.h>

#include <string>

namespace {

SYSTEMTIME At(int year, int month, int day, int hour, int minute, int second = 0) {
  SYSTEMTIME t{};
  t.wYear = static_cast<WORD>(year);
  t.wMonth = static_cast<WORD>(month);
  t.wDay = static_cast<WORD>(day);
  t.wHour = static_cast<WORD>(hour);
  t.wMinute = static_cast<WORD>(minute);
  t.wSecond = static_cast<WORD>(second);
  return t;
}

std::string PdfDate(const SYSTEMTIME& utc, const SYSTEMTIME& local) {
  return FormatPdfDate(local, ZoneOffsetMinutes(utc, local));
}

std::string Serialise(CKMC_Object& object) {
  CKM_BinaryBuf out;
  WriteObjectBody(out, &object);
  return std::string(out.view());
}

TEST(DocumentDates, OffsetSignAndAmount) {
  SYSTEMTIME utc = At(2010, 12, 9, 9, 55, 11);
  EXPECT_EQ(PdfDate(utc, utc), "(D:20101209095511Z00'00')");
  EXPECT_EQ(FormatXmpDate(utc, 0), "2010-12-09T09:55:11Z00:00");
  EXPECT_EQ(PdfDate(utc, At(2010, 12, 9, 10, 55, 11)), "(D:20101209105511+01'00')");
  EXPECT_EQ(PdfDate(utc, At(2010, 12, 9, 4, 25, 11)), "(D:20101209042511-05'30')");
  EXPECT_EQ(FormatXmpDate(At(2010, 12, 9, 4, 25, 11), -330), "2010-12-09T04:25:11-05:30");
  EXPECT_EQ(PdfDate(utc, At(2010, 12, 9, 15, 25, 11)), "(D:20101209152511+05'30')");
}

TEST(DocumentDates, DayKeyAcrossDaysMonthsAndNewYear) {
  // Local day after UTC's, within a year and across a month end.
  EXPECT_EQ(ZoneOffsetMinutes(At(2010, 6, 15, 23, 30), At(2010, 6, 16, 0, 30)), 60);
  EXPECT_EQ(ZoneOffsetMinutes(At(2010, 1, 31, 20, 0), At(2010, 2, 1, 1, 30)), 330);
  // Local day before UTC's.
  EXPECT_EQ(ZoneOffsetMinutes(At(2010, 3, 1, 2, 0), At(2010, 2, 28, 20, 30)), -330);
  // Across New Year the key orders the days the wrong way round: the
  // offset comes out two days off, as files have always shown it.
  SYSTEMTIME utc = At(2010, 12, 31, 23, 30);
  SYSTEMTIME local = At(2011, 1, 1, 0, 30);
  EXPECT_EQ(ZoneOffsetMinutes(utc, local), -2820);
  EXPECT_EQ(PdfDate(utc, local), "(D:20110101003000-47'00')");
  EXPECT_EQ(ZoneOffsetMinutes(At(2011, 1, 1, 1, 0), At(2010, 12, 31, 20, 0)), 2580);
}

TEST(DocumentInfo, EmptyTextsStillGiveEveryKey) {
  CKMC_Dictionary info;
  BuildInfoDictionary(info, {}, "(D:20101209095511Z00'00')");
  EXPECT_EQ(
      Serialise(info),
      "<<\n/Author (\xFE\xFF) \n/CreationDate (D:20101209095511Z00'00') \n/Creator (\xFE\xFF) \n"
      "/Keywords (\xFE\xFF) \n/ModDate (D:20101209095511Z00'00') \n"
      "/Producer (Kelmo PDF Forge Version 3.1.0.1210) \n/Subject (\xFE\xFF) \n/Title (\xFE\xFF) \n>>\n");
}

TEST(DocumentInfo, XmpValuesAreCutOnCharacterBoundaries) {
  EXPECT_EQ(XmpValue(u"R\u00e9sum\u00e9"), "R\xC3\xA9sum\xC3\xA9");
  std::u16string ascii(519, u'a');
  EXPECT_EQ(XmpValue(ascii).size(), 519u);  // fits with its terminating zero
  EXPECT_EQ(XmpValue(ascii + u"b"), std::string(519, 'a'));
  // Two-byte characters: 259 of them fill 518 bytes; a 260th won't fit.
  EXPECT_EQ(XmpValue(std::u16string(260, u'\u00e9')).size(), 518u);
  // Three-byte characters behind one ASCII letter: 1 + 3 * 172 = 517.
  std::string cut = XmpValue(u"a" + std::u16string(259, u'\u20ac'));
  EXPECT_EQ(cut.size(), 517u);
  EXPECT_EQ(cut.substr(514), "\xE2\x82\xAC");
  // Surrogate pairs stay whole: 129 four-byte characters are 516 bytes.
  std::u16string pairs;
  for (int i = 0; i < 130; ++i) pairs += u"\U0001F600";
  EXPECT_EQ(XmpValue(pairs).size(), 516u);
}

TEST(DocumentInfo, XmpPacketIsTheTemplateWithValuesUnescaped) {
  DocumentInfoText text;
  text.author = CKM_WideString(u"Ann & Bob");
  text.title = CKM_WideString(u"A <b> title");
  text.subject = CKM_WideString(u"R\u00e9sum\u00e9");
  text.keywords = CKM_WideString(u"pdf, xmp");
  text.creator = CKM_WideString(u"Writer");
  CKMC_Stream stream;
  BuildMetadataStream(stream, text, "2010-12-09T09:55:11Z00:00");
  EXPECT_EQ(stream.data.str(), R"xmp(<?xpacket begin="" id="W5M0MpCehiHzreSzNTczkc9d"?>
<x:xmpmeta xmlns:x="adobe:ns:meta/">
   <rdf:RDF xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#">
      <rdf:Description rdf:about="" xmlns:pdfaid="http://www.aiim.org/pdfa/ns/id/">
         <pdfaid:part>1</pdfaid:part>
         <pdfaid:conformance>B</pdfaid:conformance>
      </rdf:Description>
      <rdf:Description rdf:about="" xmlns:dc="http://purl.org/dc/elements/1.1/">
         <dc:creator>
            <rdf:Seq>
               <rdf:li>Ann & Bob</rdf:li>
            </rdf:Seq>
         </dc:creator>
         <dc:title>
            <rdf:Alt>
               <rdf:li xml:lang="x-default">A <b> title</rdf:li>
            </rdf:Alt>
         </dc:title>
<dc:description>
               <rdf:Alt>
                  <rdf:li xml:lang="x-default">Résumé</rdf:li>
          </rdf:Alt>        </dc:description><dc:subject>
                <rdf:Bag>
                    <rdf:li>pdf, xmp</rdf:li>
                </rdf:Bag>
             </dc:subject>      </rdf:Description>
      <rdf:Description rdf:about="" xmlns:xap="http://ns.adobe.com/xap/1.0/">
         <xap:CreatorTool>Writer</xap:CreatorTool>
         <xap:CreateDate>2010-12-09T09:55:11Z00:00</xap:CreateDate>
         <xap:ModifyDate>2010-12-09T09:55:11Z00:00</xap:ModifyDate>
      </rdf:Description>
      <rdf:Description rdf:about="" xmlns:pdf="http://ns.adobe.com/pdf/1.3/">
         <pdf:Producer>Kelmo PDF Forge Version 3.1.0.1210</pdf:Producer>
            <pdf:Keywords>pdf, xmp</pdf:Keywords>
      </rdf:Description>
   </rdf:RDF>
</x:xmpmeta>
<?xpacket end="w"?>)xmp");
  std::string head = "<<\n/Length " + std::to_string(stream.data.GetLength()) +
                     " \n/Subtype /XML \n/Type /Metadata \n>>\nstream\n";
  EXPECT_EQ(Serialise(stream).substr(0, head.size()), head);
}

}  // namespace
