// The reference of node settings in docs/project-file.md, generated from the property
// tables that save and load them, so that the documentation cannot drift from the
// code: every node kind with its identifier, and each setting with its type, default
// and allowed values, then the sections and lists it holds.
//
// The text is Markdown. A test compares it with the part of the document between the
// two marker lines below, so a property added without the documentation being
// regenerated fails the tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/registry/LV_Vendor.h"

namespace lv {

inline constexpr std::string_view kSettingsReferenceBegin =
    "<!-- settings reference: generated from the property tables, do not edit -->";
inline constexpr std::string_view kSettingsReferenceEnd = "<!-- end of the settings reference -->";

// The reference of `vendors`' node kinds, in the order given.
std::string SettingsReference(const std::vector<const TLVComponentVendor*>& vendors);

// `document` with the text between the markers replaced by `reference`; nothing (an
// empty string) when the document lacks the markers.
std::string ReplaceSettingsReference(std::string_view document, std::string_view reference);

}  // namespace lv
