// The connections file named on the command line (/SYSFILE; "Connections.sys" by
// custom): the database connections that import nodes use, kept outside projects.
// Database import arrives later; until then the file is read, checked and kept, so a
// run fails early and clearly on a bad file rather than in the middle of a scenario.
//
// The file is a configuration tree in XML with the root "Connections" and one
// "Connection" element per connection; each has a "Name" (unique, any case) and a
// "Vendor" (the connection kind), and whatever parameters its kind reads.
// docs/command-line.md shows an example.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "project/LV_Config.h"

namespace lv {

class TLVConnections {
 public:
  TLVConnections();

  // Reads and checks `path`; on failure raises "ErrConnectionsFile" (the file and the
  // cause) and keeps what it had.
  void Load(const std::filesystem::path& path);
  // The same from the file's text; `fileName` only names the file in messages.
  void LoadFromText(std::string_view text, std::string_view fileName);

  const std::filesystem::path& FileName() const { return fileName_; }
  int32_t Count() const;
  std::vector<std::string> Names() const;
  // The parameters of the connection `name` (any case), or null.
  const TLVConfigNode* Find(std::string_view name) const;

 private:
  std::unique_ptr<TLVConfig> config_;
  std::filesystem::path fileName_;
};

// The process's connections.
TLVConnections& LVConnections();

void RegisterConnectionsTexts();

}  // namespace lv
