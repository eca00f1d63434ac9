#include "gui/LV_ProjectDialogs.h"

#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>

#include "gui/LV_GuiText.h"

namespace lv {

namespace {

QString Plain(const std::string& text) {
  return ToQ(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

}  // namespace

void TLVDialogProjectUI::Warning(const std::string& message) {
  QMessageBox::warning(owner_, GuiText("SGuiAppTitle"), Plain(message));
}

bool TLVDialogProjectUI::Confirm(const std::string& question) {
  return QMessageBox::question(owner_, GuiText("SGuiAppTitle"), Plain(question)) ==
         QMessageBox::Yes;
}

std::optional<std::string> TLVDialogProjectUI::AskPassword(const std::string& prompt) {
  bool given = false;
  const QString password = QInputDialog::getText(owner_, GuiText("SGuiPasswordTitle"),
                                                 Plain(prompt), QLineEdit::Password, {}, &given);
  if (!given) return std::nullopt;
  return FromQ(password);
}

void RegisterProjectDialogsTexts() {
  TLVLocalization::Instance().RegisterKeys({"SGuiAppTitle", "SGuiPasswordTitle"});
}

}  // namespace lv
