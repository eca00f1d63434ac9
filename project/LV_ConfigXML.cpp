#include "project/LV_ConfigXML.h"

#include <pugixml.hpp>

#include <utility>
#include <vector>

#include "core/LV_Errors.h"

namespace lv {

namespace {

class TStringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, size_t size) override {
    out.append(static_cast<const char*>(data), size);
  }
  std::string out;
};

void CopyToXml(const TLVConfigNode& node, pugi::xml_node element) {
  // Iterative, so that the depth of a tree costs no stack.
  std::vector<std::pair<const TLVConfigNode*, pugi::xml_node>> pending{{&node, element}};
  while (!pending.empty()) {
    auto [from, to] = pending.back();
    pending.pop_back();
    for (int32_t i = 0; i < from->Params().Count(); ++i) {
      to.append_attribute(from->Params().Name(i).c_str())
          .set_value(from->Params().Value(i).c_str());
    }
    for (int32_t i = 0; i < from->Nodes().Count(); ++i) {
      const TLVConfigNode& child = from->Nodes()[i];
      pending.emplace_back(&child, to.append_child(child.Name().c_str()));
    }
  }
}

}  // namespace

std::string TLVXMLConfig::Write(const TLVConfig& config) const {
  pugi::xml_document document;
  pugi::xml_node declaration = document.append_child(pugi::node_declaration);
  declaration.append_attribute("version") = "1.0";
  declaration.append_attribute("encoding") = "UTF-8";
  CopyToXml(config.Root(), document.append_child(config.Root().Name().c_str()));
  TStringWriter writer;
  document.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
  return std::move(writer.out);
}

void TLVXMLConfig::Read(std::string_view bytes, TLVConfig& config) const {
  config.Clear();
  pugi::xml_document document;
  // Attribute values keep their line breaks and tabs as written; the writer escapes
  // them, so a saved value reads back exactly.
  unsigned flags = pugi::parse_default & ~pugi::parse_wconv_attribute;
  pugi::xml_parse_result result =
      document.load_buffer(bytes.data(), bytes.size(), flags, pugi::encoding_auto);
  if (!result) {
    throw ELVError("ErrConfigXmlParse", {static_cast<int64_t>(result.offset) + 1,
                                         std::string_view(result.description())});
  }
  pugi::xml_node root = document.document_element();
  if (!root || config.Root().Name() != root.name()) {
    throw ELVError("ErrConfigXmlRoot",
                   {std::string_view(root ? root.name() : ""), config.Root().Name()});
  }
  try {
    struct TPending {
      pugi::xml_node from;
      TLVConfigNode* to;
      int32_t depth;
    };
    std::vector<TPending> pending{{root, &config.Root(), 0}};
    while (!pending.empty()) {
      TPending current = pending.back();
      pending.pop_back();
      if (current.depth >= kConfigMaxDepth) throw ELVError("ErrConfigXmlDepth", {kConfigMaxDepth});
      for (pugi::xml_attribute a : current.from.attributes()) {
        current.to->Params().Add(a.name(), a.value());
      }
      // Children are created in document order; their contents are filled later.
      for (pugi::xml_node child : current.from.children()) {
        if (child.type() != pugi::node_element) continue;
        pending.push_back({child, &current.to->Nodes().AddItem(child.name()), current.depth + 1});
      }
    }
  } catch (...) {
    config.Clear();
    throw;
  }
}

std::shared_ptr<const TLVConfigVendor> LVXMLConfigVendor() {
  return LVConfigVendors().Get(TLVXMLConfig::kName);
}

void RegisterConfigXMLVendor(TLVConfigVendorList& list) {
  if (!list.Find(TLVXMLConfig::kName)) list.Add(std::make_shared<TLVXMLConfig>());
}

}  // namespace lv
