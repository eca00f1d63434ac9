// The XML vendor of the configuration tree: one element per node, named as the node,
// with the node's parameters as attributes in their order and its children as child
// elements in theirs. The document is UTF-8 with a declaration, indented by two blanks.
//
// Reading accepts any encoding the declaration or a byte-order mark names, ignores
// comments, processing instructions and text between elements, and refuses a root
// element other than the tree's root ("ErrConfigXmlRoot"), malformed XML
// ("ErrConfigXmlParse", with the byte position) and nesting deeper than
// kConfigMaxDepth ("ErrConfigXmlDepth"). Values round-trip exactly, line breaks, tabs
// and leading blanks included.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "project/LV_Config.h"

namespace lv {

class TLVXMLConfig : public TLVConfigVendor {
 public:
  static constexpr std::string_view kName = "XML";
  static constexpr int32_t kConfigMaxDepth = 256;

  std::string_view GetName() const override { return kName; }
  std::string Write(const TLVConfig& config) const override;
  void Read(std::string_view bytes, TLVConfig& config) const override;
};

// The registered XML vendor.
std::shared_ptr<const TLVConfigVendor> LVXMLConfigVendor();

void RegisterConfigXMLVendor(TLVConfigVendorList& list);
void RegisterConfigXMLTexts();

}  // namespace lv
