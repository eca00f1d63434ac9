#include "gui/LV_ScreenshotTour.h"

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QTabWidget>
#include <QTimer>

#include "core/registry/LV_Vendor.h"
#include "gui/LV_MainWindow.h"
#include "gui/LV_SettingsDialog.h"

namespace lv {

TLVScreenshotTour::TLVScreenshotTour(TLVMainWindow& window, QString folder)
    : QObject(&window), window_(window), folder_(std::move(folder)) {
  QDir().mkpath(folder_);
  connect(&window_, &TLVMainWindow::Idle, this, [this] {
    // Let the views repaint with what the run left before the picture is taken.
    QTimer::singleShot(300, this, [this] { Next(); });
  });
}

void TLVScreenshotTour::Start() {
  QTimer::singleShot(500, this, [this] {
    if (!window_.RunAll(true)) QApplication::quit();
  });
}

TModelTreeNode* TLVScreenshotTour::FirstNodeOf(bool import) const {
  TModelTreeNode* found = nullptr;
  window_.Project().ForEachNode([&](TModelTreeNode& node) {
    const bool isImport = node.Vendor().ComponentType() == TLVComponentType::ctImport;
    const bool isHandler = node.Vendor().ComponentType() == TLVComponentType::ctAnalytic;
    if (!found && (import ? isImport : isHandler)) found = &node;
  });
  return found;
}

void TLVScreenshotTour::Save(QWidget& widget, const QString& name) {
  // A palette of 256 colours keeps the pictures small enough to keep in the repository;
  // a window has few colours, so nothing visible is lost.
  widget.grab()
      .toImage()
      .convertToFormat(QImage::Format_Indexed8, Qt::ThresholdDither | Qt::AvoidDither)
      .save(QDir(folder_).filePath(name), "PNG", 0);
}

void TLVScreenshotTour::Next() {
  switch (step_++) {
    case 0: {  // the run is over: the window with its log
      window_.Views()->setCurrentIndex(2);
      Save(window_, QStringLiteral("main-window.png"));
      TModelTreeNode* handler = FirstNodeOf(false);
      window_.SelectNode(handler ? handler : FirstNodeOf(true));
      window_.Views()->setCurrentIndex(0);
      QTimer::singleShot(300, this, [this] {
        Save(window_, QStringLiteral("table-view.png"));
        window_.SelectNode(FirstNodeOf(true));
        if (!window_.ComputeStats()) QApplication::quit();
      });
      break;
    }
    case 1: {  // statistics computed
      Save(window_, QStringLiteral("statistics-view.png"));
      auto* dialog = new TLVSettingsDialog(window_.Project(), *window_.SelectedNode(), &window_);
      dialog->setAttribute(Qt::WA_DeleteOnClose);
      dialog->show();
      QTimer::singleShot(300, this, [this, dialog] {
        Save(*dialog, QStringLiteral("settings-dialog.png"));
        dialog->reject();
        window_.Project().SetModified(false);
        QApplication::quit();
      });
      break;
    }
    default:
      break;
  }
}

}  // namespace lv
