// Reading a whole file that the user named: a project, the parameters, variables or
// connections file of the command line. One reader for all of them, so that each
// refuses the same mistakes the same way: a missing file, a folder, a file without
// read rights or a read that fails all raise an ELVError naming the file, with the
// system's reason in Russian, and never anything else.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

namespace lv {

// The most bytes read from a source that is not a regular file (a device, a pipe).
inline constexpr size_t kLVUnsizedFileLimit = size_t{256} << 20;

// The file's bytes. On failure raises `errorKey`, a message formatted with the file's
// name and the reason ("ErrFileRead" unless the caller frames it in its own words).
std::string LVReadWholeFile(const std::filesystem::path& path,
                            std::string_view errorKey = "ErrFileRead");

void RegisterReadFileTexts();

}  // namespace lv
