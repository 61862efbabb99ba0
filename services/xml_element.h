// CXML_Element: a small element tree parsed from an XML document.
//
// Contract of the reader (input is untrusted: language files, settings
// documents):
// - At open: the whole document is at most kMaxXmlBytes; anything longer
//   is refused without being parsed.
// - While parsing (expat): the document must be well-formed; a document
//   type declaration is refused (so no entity or default attribute can
//   expand the input); elements nest at most kMaxXmlDepth deep and there
//   are at most kMaxXmlElements of them.
// - Any failure gives no tree at all, never a part of one.
// Tags, attribute names and values and character data are UTF-8, as expat
// delivers them; children and attributes keep their document order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

inline constexpr size_t kMaxXmlBytes = 4 * 1024 * 1024;
inline constexpr size_t kMaxXmlDepth = 64;
inline constexpr size_t kMaxXmlElements = 100000;

class CXML_Element {
 public:
  explicit CXML_Element(std::string tag) : m_tag(std::move(tag)) {}

  // The root element of `bytes`, or null if the document is refused.
  static std::unique_ptr<CXML_Element> Parse(std::span<const uint8_t> bytes);

  const std::string& GetTagName() const { return m_tag; }
  // The value of attribute `name`, or null if the element has none.
  const std::string* GetAttr(std::string_view name) const;
  const std::vector<std::pair<std::string, std::string>>& Attributes() const { return m_attributes; }

  size_t CountChildren() const { return m_children.size(); }
  // Child `index` in document order, or null past the end.
  CXML_Element* GetChild(size_t index) const;
  // The first child whose tag equals `tag`, or null.
  CXML_Element* FindChild(std::string_view tag) const;

  // The character data directly inside the element, pieces joined.
  const std::string& GetContent() const { return m_content; }

  // Building the tree (the parser's use).
  void AddAttribute(std::string name, std::string value) {
    m_attributes.emplace_back(std::move(name), std::move(value));
  }
  CXML_Element* AddChild(std::unique_ptr<CXML_Element> child) {
    m_children.push_back(std::move(child));
    return m_children.back().get();
  }
  void AppendContent(std::string_view text) { m_content += text; }

 private:
  std::string m_tag;
  std::vector<std::pair<std::string, std::string>> m_attributes;
  std::vector<std::unique_ptr<CXML_Element>> m_children;
  std::string m_content;
};
