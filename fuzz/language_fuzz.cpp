// Fuzz target for language files: the bytes are parsed as a language file,
// then every kind of lookup runs on the tree (texts with small and large
// buffers, dialog captions, control texts) and the whole tree is walked.
#include <cstddef>
#include <cstdint>
#include <span>

#include "services/language.h"
#include "services/xml_element.h"

namespace {

size_t Walk(const CXML_Element* element) {
  size_t size = element->GetTagName().size() + element->GetContent().size();
  for (const auto& [name, value] : element->Attributes()) size += name.size() + value.size();
  for (size_t i = 0; i < element->CountChildren(); ++i) size += Walk(element->GetChild(i));
  return size;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::span<const uint8_t> bytes(data, size);
  if (auto root = CXML_Element::Parse(bytes)) {
    volatile size_t total = Walk(root.get());
    (void)total;
  }
  CKMC_Language language;
  language.LoadFromBytes(bytes);
  char16_t text[512];
  for (uint32_t id : {0u, 1u, 5u, 1000u, 2000u, 2300u, 3205u, 3211u, 3219u, 3220u, 0xFFFFFFFFu}) {
    for (size_t capacity : {size_t{1}, size_t{3}, size_t{512}}) {
      language.GetString(id, text, capacity);
      language.GetDialogTitle(id, text, capacity);
    }
    for (uint32_t control : {0u, 1001u, id}) language.GetDialogItemText(id, control);
  }
  return 0;
}
