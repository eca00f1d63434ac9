// The project's questions, warnings and password prompts as the desktop shows them:
// message boxes and a password field that hides what is typed. UI thread.
#pragma once

#include <QWidget>

#include "project/LV_Project.h"

namespace lv {

class TLVDialogProjectUI : public ILVProjectUI {
 public:
  explicit TLVDialogProjectUI(QWidget* owner) : owner_(owner) {}
  void Warning(const std::string& message) override;
  bool Confirm(const std::string& question) override;
  std::optional<std::string> AskPassword(const std::string& prompt) override;

 private:
  QWidget* owner_;
};

void RegisterProjectDialogsTexts();

}  // namespace lv
