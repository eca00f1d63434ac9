#include "gui/LV_RecentProjects.h"

#include <QFileInfo>

namespace lv {

namespace {

const QString kKey = QStringLiteral("RecentProjects");

// One spelling per file, so that the same project opened by two paths is listed once.
QString Canonical(const QString& file) {
  const QFileInfo info(file);
  const QString canonical = info.canonicalFilePath();
  return canonical.isEmpty() ? info.absoluteFilePath() : canonical;
}

}  // namespace

TLVRecentProjects::TLVRecentProjects(QSettings& settings) : settings_(settings) {
  files_ = settings_.value(kKey).toStringList();
  while (files_.size() > kMaxRecent) files_.removeLast();
}

void TLVRecentProjects::Add(const QString& file) {
  const QString name = Canonical(file);
  files_.removeAll(name);
  files_.prepend(name);
  while (files_.size() > kMaxRecent) files_.removeLast();
  Save();
}

void TLVRecentProjects::Remove(const QString& file) {
  files_.removeAll(Canonical(file));
  files_.removeAll(file);
  Save();
}

void TLVRecentProjects::Save() {
  settings_.setValue(kKey, files_);
}

}  // namespace lv
