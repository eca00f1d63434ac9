// A scripted tour of the real window for the documentation's pictures: it runs the
// open project (retraining its models), then saves pictures of the main window with
// the run log, the table of a handler, the statistics of the import and the settings
// dialog of the import, and closes the program. Started by RunDesktop when the
// environment names a folder in LV_SCREENSHOT_DIR (scripts/screenshots does, under a
// virtual display). UI thread.
#pragma once

#include <QObject>
#include <QString>

namespace lv {

class TLVMainWindow;
class TModelTreeNode;

class TLVScreenshotTour : public QObject {
  Q_OBJECT

 public:
  TLVScreenshotTour(TLVMainWindow& window, QString folder);
  // Starts the tour once the event loop runs.
  void Start();

 private:
  void Next();
  void Save(QWidget& widget, const QString& name);
  TModelTreeNode* FirstNodeOf(bool import) const;

  TLVMainWindow& window_;
  QString folder_;
  int step_ = 0;
};

}  // namespace lv
