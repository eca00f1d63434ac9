#include "project/LV_SettingsReference.h"

#include "core/text/LV_Localization.h"

namespace lv {

namespace {

std::string_view TypeName(TLVPropertyType type) {
  switch (type) {
    case TLVPropertyType::ptString:
      return "text";
    case TLVPropertyType::ptInteger:
      return "integer";
    case TLVPropertyType::ptFloat:
      return "real";
    case TLVPropertyType::ptBoolean:
      return "Boolean";
    case TLVPropertyType::ptChar:
      return "character";
    case TLVPropertyType::ptEnum:
      return "enumeration";
  }
  return "";
}

std::string Code(std::string_view text) {
  if (text.empty()) return "—";
  std::string code = "`";
  code.append(text).push_back('`');
  return code;
}

// A default as it is written in the file: a control character (a tab) as the XML
// reference that stands for it.
std::string DefaultText(const TLVSettingsDescription::TProperty& p) {
  if (p.type == TLVPropertyType::ptChar && p.defaultText.size() == 1 &&
      static_cast<unsigned char>(p.defaultText[0]) < 0x20) {
    return Code("&#" + std::to_string(static_cast<int>(p.defaultText[0])) + ";");
  }
  return Code(p.defaultText);
}

std::string_view CatalogueName(TLVComponentType type) {
  switch (type) {
    case TLVComponentType::ctImport:
      return "import";
    case TLVComponentType::ctExport:
      return "export";
    case TLVComponentType::ctAnalytic:
      return "processing";
    default:
      return "other";
  }
}

// The value names of an enumeration with the texts the user sees for them.
std::string AllowedValues(const TLVEnumDescriptor* enumeration) {
  if (!enumeration) return {};
  std::string values;
  for (size_t i = 0; i < enumeration->valueNames.size(); ++i) {
    if (i > 0) values += ", ";
    values += Code(enumeration->valueNames[i]);
    if (enumeration->hasDisplayTexts) values += " (" + LVText(enumeration->DisplayTextKey(i)) + ")";
  }
  return values;
}

void Describe(const TLVSettingsDescription& settings, const std::string& path, std::string& out) {
  if (!settings.properties.empty()) {
    out += "| setting | type | default | values |\n|---|---|---|---|\n";
    for (const auto& p : settings.properties) {
      out += "| " + Code(p.name) + " | " + std::string(TypeName(p.type)) + " | " + DefaultText(p) +
             " | " + AllowedValues(p.enumeration) + " |\n";
    }
    out += "\n";
  }
  for (const auto& s : settings.sections) {
    std::string inner = path.empty() ? s.name : path + "/" + s.name;
    if (s.itemName.empty()) {
      out += "Section " + Code(inner) + ":\n\n";
    } else {
      out += "Section " + Code(inner) + ", one " + Code(s.itemName) + " per item:\n\n";
      inner += "/" + s.itemName;
    }
    Describe(*s.content, inner, out);
  }
}

}  // namespace

std::string SettingsReference(const std::vector<const TLVComponentVendor*>& vendors) {
  std::string out = "| `Vendor` | kind | catalogue | group |\n|---|---|---|---|\n";
  for (const TLVComponentVendor* vendor : vendors) {
    out += "| " + Code(vendor->Identifier()) + " | " + vendor->Caption() + " | " +
           std::string(CatalogueName(vendor->ComponentType())) + " | " + vendor->Group().Caption() +
           " |\n";
  }
  for (const TLVComponentVendor* vendor : vendors) {
    out += "\n### " + Code(vendor->Identifier()) + ": " + vendor->Caption() + "\n\n";
    std::optional<TLVSettingsDescription> settings = vendor->DescribeSettings();
    if (!settings) {
      // Model nodes keep their columns, split, normalizers and trained state in
      // sections of their own rather than in a property table.
      out += "Settings kept in sections of the kind's own; see its page in `docs/nodes/`.\n";
      continue;
    }
    if (settings->properties.empty() && settings->sections.empty()) {
      out += "No settings.\n";
      continue;
    }
    out += "In `Handler`:\n\n";
    Describe(*settings, "", out);
    out.pop_back();
  }
  return out;
}

std::string ReplaceSettingsReference(std::string_view document, std::string_view reference) {
  size_t begin = document.find(kSettingsReferenceBegin);
  if (begin == std::string_view::npos) return {};
  begin += kSettingsReferenceBegin.size();
  size_t end = document.find(kSettingsReferenceEnd, begin);
  if (end == std::string_view::npos) return {};
  std::string result(document.substr(0, begin));
  result += "\n\n";
  result += reference;
  result += "\n";
  result += document.substr(end);
  return result;
}

}  // namespace lv
