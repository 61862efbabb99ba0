#include "services/xml_element.h"

#include <expat.h>

#include <cstring>

namespace {

// The state of one parse: the root, the open elements and the limits.
struct TreeBuilder {
  XML_Parser parser = nullptr;
  std::unique_ptr<CXML_Element> root;
  std::vector<CXML_Element*> open;
  size_t elements = 0;
  bool refused = false;

  void Refuse() {
    refused = true;
    XML_StopParser(parser, XML_FALSE);
  }
};

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attributes) {
  auto* builder = static_cast<TreeBuilder*>(data);
  if (builder->refused) return;
  if (builder->open.size() >= kMaxXmlDepth || ++builder->elements > kMaxXmlElements) {
    builder->Refuse();
    return;
  }
  auto element = std::make_unique<CXML_Element>(name);
  for (size_t i = 0; attributes[i] && attributes[i + 1]; i += 2)
    element->AddAttribute(attributes[i], attributes[i + 1]);
  CXML_Element* added;
  if (builder->open.empty()) {
    builder->root = std::move(element);
    added = builder->root.get();
  } else {
    added = builder->open.back()->AddChild(std::move(element));
  }
  builder->open.push_back(added);
}

void XMLCALL OnEnd(void* data, const XML_Char*) {
  auto* builder = static_cast<TreeBuilder*>(data);
  if (!builder->refused && !builder->open.empty()) builder->open.pop_back();
}

void XMLCALL OnText(void* data, const XML_Char* text, int length) {
  auto* builder = static_cast<TreeBuilder*>(data);
  if (builder->refused || builder->open.empty() || length <= 0) return;
  builder->open.back()->AppendContent(std::string_view(text, static_cast<size_t>(length)));
}

// Language files and settings documents have no use for a document type;
// refusing it rules out entity expansion and default attributes.
void XMLCALL OnDoctype(void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
  static_cast<TreeBuilder*>(data)->Refuse();
}

}  // namespace

std::unique_ptr<CXML_Element> CXML_Element::Parse(std::span<const uint8_t> bytes) {
  if (bytes.empty() || bytes.size() > kMaxXmlBytes) return nullptr;
  TreeBuilder builder;
  builder.parser = XML_ParserCreate(nullptr);
  if (!builder.parser) return nullptr;
  XML_SetUserData(builder.parser, &builder);
  XML_SetElementHandler(builder.parser, OnStart, OnEnd);
  XML_SetCharacterDataHandler(builder.parser, OnText);
  XML_SetStartDoctypeDeclHandler(builder.parser, OnDoctype);
  XML_Status status = XML_Parse(builder.parser, reinterpret_cast<const char*>(bytes.data()),
                                static_cast<int>(bytes.size()), XML_TRUE);
  XML_ParserFree(builder.parser);
  if (status != XML_STATUS_OK || builder.refused || !builder.open.empty()) return nullptr;
  return std::move(builder.root);
}

const std::string* CXML_Element::GetAttr(std::string_view name) const {
  for (const auto& [key, value] : m_attributes)
    if (key == name) return &value;
  return nullptr;
}

CXML_Element* CXML_Element::GetChild(size_t index) const {
  return index < m_children.size() ? m_children[index].get() : nullptr;
}

CXML_Element* CXML_Element::FindChild(std::string_view tag) const {
  for (const auto& child : m_children)
    if (child->m_tag == tag) return child.get();
  return nullptr;
}
