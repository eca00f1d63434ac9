#include "core/text/LV_SystemError.h"

#include <array>
#include <cerrno>
#include <string_view>

#include "core/text/LV_Format.h"
#include "core/text/LV_Localization.h"

namespace lv {

namespace {

struct TSystemErrorKey {
  int error;
  std::string_view key;
};

// The errors a user meets with files, folders and resources; the others are rare
// enough to be shown with the library's text.
constexpr std::array kKeys{TSystemErrorKey{ENOENT, "SysErrENOENT"},
                           TSystemErrorKey{EACCES, "SysErrEACCES"},
                           TSystemErrorKey{EPERM, "SysErrEPERM"},
                           TSystemErrorKey{EISDIR, "SysErrEISDIR"},
                           TSystemErrorKey{ENOTDIR, "SysErrENOTDIR"},
                           TSystemErrorKey{ENOSPC, "SysErrENOSPC"},
                           TSystemErrorKey{EDQUOT, "SysErrEDQUOT"},
                           TSystemErrorKey{EROFS, "SysErrEROFS"},
                           TSystemErrorKey{EEXIST, "SysErrEEXIST"},
                           TSystemErrorKey{EMFILE, "SysErrEMFILE"},
                           TSystemErrorKey{ENFILE, "SysErrENFILE"},
                           TSystemErrorKey{EIO, "SysErrEIO"},
                           TSystemErrorKey{ENAMETOOLONG, "SysErrENAMETOOLONG"},
                           TSystemErrorKey{ELOOP, "SysErrELOOP"},
                           TSystemErrorKey{EBUSY, "SysErrEBUSY"},
                           TSystemErrorKey{ETXTBSY, "SysErrETXTBSY"},
                           TSystemErrorKey{EFBIG, "SysErrEFBIG"},
                           TSystemErrorKey{ENOTEMPTY, "SysErrENOTEMPTY"},
                           TSystemErrorKey{EXDEV, "SysErrEXDEV"},
                           TSystemErrorKey{EAGAIN, "SysErrEAGAIN"},
                           TSystemErrorKey{EINVAL, "SysErrEINVAL"},
                           TSystemErrorKey{ENOMEM, "SysErrENOMEM"},
                           TSystemErrorKey{ENXIO, "SysErrENXIO"},
                           TSystemErrorKey{ENODEV, "SysErrENODEV"},
                           TSystemErrorKey{ETIMEDOUT, "SysErrETIMEDOUT"},
                           TSystemErrorKey{EINTR, "SysErrEINTR"}};

}  // namespace

std::string LVSystemErrorText(int error) {
  for (const TSystemErrorKey& entry : kKeys) {
    if (entry.error == error) return LVText(entry.key);
  }
  return Format(LVText("SysErrOther"), {error, std::generic_category().message(error)});
}

std::string LVSystemErrorText(const std::error_code& error) {
  if (error.category() == std::generic_category() || error.category() == std::system_category()) {
    return LVSystemErrorText(error.value());
  }
  return Format(LVText("SysErrOther"), {error.value(), error.message()});
}

void RegisterSystemErrorTexts() {
  auto& table = TLVLocalization::Instance();
  for (const TSystemErrorKey& entry : kKeys) table.RegisterKey(entry.key);
  table.RegisterKey("SysErrOther");
}

}  // namespace lv
