#include "project/LV_ConfigXML.h"

#include <pugixml.hpp>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/text/LV_Errors.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

class TStringWriter : public pugi::xml_writer {
 public:
  void write(const void* data, size_t size) override {
    out.append(static_cast<const char*>(data), size);
  }
  std::string out;
};

// The parser's verdicts in Russian, by its status.
constexpr std::pair<pugi::xml_parse_status, std::string_view> kStatusKeys[] = {
    {pugi::status_file_not_found, "SXmlFileNotFound"},
    {pugi::status_io_error, "SXmlIoError"},
    {pugi::status_out_of_memory, "SXmlOutOfMemory"},
    {pugi::status_internal_error, "SXmlInternalError"},
    {pugi::status_unrecognized_tag, "SXmlUnrecognizedTag"},
    {pugi::status_bad_pi, "SXmlBadPi"},
    {pugi::status_bad_comment, "SXmlBadComment"},
    {pugi::status_bad_cdata, "SXmlBadCdata"},
    {pugi::status_bad_doctype, "SXmlBadDoctype"},
    {pugi::status_bad_pcdata, "SXmlBadPcdata"},
    {pugi::status_bad_start_element, "SXmlBadStartElement"},
    {pugi::status_bad_attribute, "SXmlBadAttribute"},
    {pugi::status_bad_end_element, "SXmlBadEndElement"},
    {pugi::status_end_element_mismatch, "SXmlEndElementMismatch"},
    {pugi::status_append_invalid_root, "SXmlInvalidRoot"},
    {pugi::status_no_document_element, "SXmlNoDocumentElement"},
};

// Russian; a status this table does not know keeps the library's text.
std::string ParseErrorText(const pugi::xml_parse_result& result) {
  for (const auto& [status, key] : kStatusKeys) {
    if (status == result.status) return LVText(key);
  }
  return result.description();
}

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
    throw ELVError("ErrConfigXmlParse",
                   {static_cast<int64_t>(result.offset) + 1, ParseErrorText(result)});
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

void RegisterConfigXMLTexts() {
  auto& table = TLVLocalization::Instance();
  table.RegisterKeys({"ErrConfigXmlParse", "ErrConfigXmlRoot", "ErrConfigXmlDepth"});
  for (const auto& entry : kStatusKeys) table.RegisterKey(entry.second);
}

void RegisterConfigXMLVendor(TLVConfigVendorList& list) {
  if (!list.Find(TLVXMLConfig::kName)) list.Add(std::make_shared<TLVXMLConfig>());
}

}  // namespace lv
