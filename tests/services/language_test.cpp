#include "services/language.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "services/xml_element.h"
#include "test_support.h"

namespace {

std::span<const uint8_t> Bytes(std::string_view text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::u16string Text(CKMC_Language& language, uint32_t id, size_t capacity = 256) {
  std::u16string out(capacity, u'?');
  if (!language.GetString(id, out.data(), capacity)) return u"<none>";
  return out.c_str();
}

constexpr std::string_view kFile = R"(<?xml version="1.0" encoding="UTF-8"?>
<Language>
  <Dialogs>
    <Dialog id="2000" text="Kopf- und Fußzeile">
      <Group id="9">
        <Label id="1001" text="Links"/>
      </Group>
      <Button id="1002"/>
    </Dialog>
    <Dialog id="2100"/>
  </Dialogs>
  <Strings>
    <Block>
      <Inner><S id="7" text="too deep"/></Inner>
      <S id="3219" text="Seite %d"/>
      <S id="3220" text=""/>
      <S id="5" text="a\nb\tc"/>
    </Block>
    <S id="6" text="second child"/>
    <S id="3211" text="Direkt"/>
  </Strings>
</Language>
)";

TEST(Language, EscapesTurnIntoControlCharactersUntilAnUnknownOne) {
  EXPECT_EQ(CKMC_Language::Unescape("a\\nb\\tc").str(), u"a\nb\tc");
  EXPECT_EQ(CKMC_Language::Unescape("x\\n\\qy\\n").str(), u"x\n\\qy\\n");
  EXPECT_EQ(CKMC_Language::Unescape("end\\").str(), u"end\\");
  EXPECT_EQ(CKMC_Language::Unescape("Gr\xC3\xBC\xC3\x9F").str(), u"Grüß");
}

TEST(Language, IdsAreFoundAmongChildrenThenBelowTheFirstChild) {
  CKMC_Language language;
  ASSERT_EQ(language.LoadFromBytes(Bytes(kFile)), 1);
  EXPECT_EQ(Text(language, 3211), u"Direkt");  // a direct child
  // No direct child has these ids: the search goes below the first child.
  EXPECT_EQ(Text(language, 3219), u"Seite %d");
  EXPECT_EQ(Text(language, 5), u"a\nb\tc");
  // Two levels down along the first children.
  EXPECT_EQ(Text(language, 7), u"too deep");
  EXPECT_EQ(Text(language, 6), u"second child");
  EXPECT_EQ(Text(language, 3219, 4), u"Sei");
}

TEST(Language, TextsTheFileLacksComeFromTheBuiltInTable) {
  CKMC_Language language;
  ASSERT_EQ(language.LoadFromBytes(Bytes(kFile)), 1);
  EXPECT_EQ(Text(language, 3220), u"Finish...");  // empty in the file
  EXPECT_EQ(Text(language, 3215), u"Print to PDF Document - Kelmo PDF Printer");
  EXPECT_EQ(Text(language, 4000), u"<none>");
  char16_t out[4] = {u'x', u'x', u'x', u'x'};
  EXPECT_EQ(language.GetString(4000, out, 4), 0);
  EXPECT_EQ(out[0], 0);
}

TEST(Language, DialogCaptionsAndControls) {
  CKMC_Language language;
  ASSERT_EQ(language.LoadFromBytes(Bytes(kFile)), 1);
  char16_t title[64];
  ASSERT_EQ(language.GetDialogTitle(2000, title, 64), 1);
  EXPECT_EQ(std::u16string(title), u"Kopf- und Fußzeile");
  EXPECT_EQ(language.GetDialogTitle(2100, title, 64), 0);  // no caption in the file
  EXPECT_EQ(language.GetDialogTitle(1700, title, 64), 0);
  EXPECT_EQ(language.GetDialogItemText(2000, 1001).str(), u"Links");
  EXPECT_EQ(language.GetDialogItemText(2000, 0).str(), u"Kopf- und Fußzeile");
  EXPECT_TRUE(language.GetDialogItemText(2000, 1002).IsEmpty());
  EXPECT_TRUE(language.GetDialogItemText(2100, 0).IsEmpty());
}

TEST(Language, RefusedDocumentsLeaveOnlyTheBuiltInTexts) {
  const std::string deep = std::string(100, '<').append("a>");
  std::string nested;
  for (size_t i = 0; i <= kMaxXmlDepth; ++i) nested += "<a>";
  for (size_t i = 0; i <= kMaxXmlDepth; ++i) nested += "</a>";
  for (std::string_view bad :
       {std::string_view("\x7F"
                         "ELF binary"),
        std::string_view("<Language><Strings>"), std::string_view(""), std::string_view(deep),
        std::string_view(nested), std::string_view("<!DOCTYPE x [<!ENTITY a \"aaaa\">]><x>&a;</x>")}) {
    CKMC_Language language;
    EXPECT_EQ(language.LoadFromBytes(Bytes(bad)), 0) << bad.substr(0, 20);
    EXPECT_FALSE(language.HasFile());
    EXPECT_EQ(Text(language, 3211), u"Kelmo PDF Forge");
  }
  std::string large = "<a>" + std::string(kMaxXmlBytes, ' ') + "</a>";
  EXPECT_EQ(CXML_Element::Parse(Bytes(large)), nullptr);
}

TEST(XmlElement, KeepsDocumentOrderAttributesAndText) {
  auto root = CXML_Element::Parse(Bytes("<r a=\"1\" b=\"&lt;2&gt;\"><x/>hi<y>in</y> there<x id=\"2\"/></r>"));
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->GetTagName(), "r");
  ASSERT_EQ(root->Attributes().size(), 2u);
  EXPECT_EQ(root->Attributes()[1].first, "b");
  EXPECT_EQ(*root->GetAttr("b"), "<2>");
  EXPECT_EQ(root->GetAttr("c"), nullptr);
  ASSERT_EQ(root->CountChildren(), 3u);
  EXPECT_EQ(root->GetChild(1)->GetContent(), "in");
  EXPECT_EQ(root->GetContent(), "hi there");
  EXPECT_EQ(root->FindChild("x"), root->GetChild(0));
  EXPECT_EQ(root->GetChild(3), nullptr);
  // UTF-16 with its byte order mark is read as well.
  std::u16string wide = u"\uFEFF<r t=\"ü\"/>";
  auto fromWide = CXML_Element::Parse({reinterpret_cast<const uint8_t*>(wide.data()), wide.size() * 2});
  ASSERT_NE(fromWide, nullptr);
  EXPECT_EQ(*fromWide->GetAttr("t"), "\xC3\xBC");
}

// The files we ship: each parses, holds every driver text with the same
// placeholders as the built-in table, and English says what the table says.
TEST(LanguageFiles, HoldEveryDriverTextWithItsPlaceholders) {
  for (const char* name : {"kmpforge_lang_en_us.xml", "kmpforge_lang_de_de.xml"}) {
    std::string bytes = snk::test::ReadFile(std::filesystem::path(SNK_SOURCE_DIR) / "lang" / name);
    CKMC_Language language;
    ASSERT_EQ(language.LoadFromBytes(Bytes(bytes)), 1) << name;
    CKMC_Language builtin;
    for (uint32_t id : {3205u, 3206u, 3207u, 3208u, 3209u, 3210u, 3211u, 3215u, 3219u, 3220u}) {
      std::u16string text = Text(language, id, 1024), expected = CKMC_Language::BuiltinString(id);
      for (std::u16string_view mark : {u"%d", u"%s", u"support@kelmo-software.com"})
        EXPECT_EQ(text.find(mark) == std::u16string::npos, expected.find(mark) == std::u16string::npos)
            << name << " " << id;
      if (std::string_view(name).find("en_us") != std::string_view::npos) {
        EXPECT_EQ(text, expected) << id;
      }
    }
    EXPECT_NE(Text(language, 2300, 8192).find(u"--output"), std::u16string::npos) << name;
  }
}

class LanguageFolder : public snk::test::HostTest {
 protected:
  void Write(const std::string& name, std::string_view text) {
    std::ofstream(Dir() / name, std::ios::binary) << text;
  }
  static std::string File(const char* text) {
    return std::string("<L><Dialogs/><Strings><S id=\"3211\" text=\"") + text + "\"/></Strings></L>";
  }
  int Load(CKMC_Language& language) { return language.LoadFromFolder(Path("").c_str()); }
};

TEST_F(LanguageFolder, TheFirstLongForgeLanguageNameIsTaken) {
  EXPECT_FALSE(CKMC_Language::IsLanguageFileName(u"forge_language_x.xml"));  // 20 characters
  EXPECT_TRUE(CKMC_Language::IsLanguageFileName(u"forge_language_en_us.xml"));
  EXPECT_FALSE(CKMC_Language::IsLanguageFileName(u"kmpforge_lang_en_us.xml"));
  EXPECT_FALSE(CKMC_Language::IsLanguageFileName(u"Forge_language_en_us.xml"));

  Write("a.xml", File("a"));
  Write("forge_language_de_de.xml", File("Deutsch"));
  Write("forge_language_en_us.xml", File("English"));
  Write("zz.xml", File("last"));
  CKMC_Language language;
  EXPECT_EQ(Load(language), 1);
  EXPECT_EQ(Text(language, 3211), u"Deutsch");
}

TEST_F(LanguageFolder, WithoutAMatchTheLastEntryIsRead) {
  Write("a.xml", File("a"));
  Write("forge_language_x.xml", File("twenty"));  // too short to count
  Write("zz.xml", File("last"));
  CKMC_Language language;
  EXPECT_EQ(Load(language), 1);
  EXPECT_EQ(Text(language, 3211), u"last");

  Write("zzz.bin",
        "\x7F"
        "ELF\x02\x01 not a language file");
  EXPECT_EQ(Load(language), 1);
  EXPECT_FALSE(language.HasFile());
  EXPECT_EQ(Text(language, 3211), u"Kelmo PDF Forge");

  // A folder as the last entry cannot be opened.
  std::filesystem::create_directory(Dir() / "zzzz");
  EXPECT_EQ(Load(language), 0);
  EXPECT_EQ(Text(language, 3219), u"Printing page %d");
  EXPECT_EQ(language.LoadFromFolder((Path("missing") + u"/").c_str()), 0);
}

}  // namespace
