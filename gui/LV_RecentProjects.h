// The list of recently opened projects: the latest first, each file once, at most
// kMaxRecent. Kept in the user's settings of the program between sessions.
#pragma once

#include <QSettings>
#include <QString>
#include <QStringList>

namespace lv {

class TLVRecentProjects {
 public:
  static constexpr int kMaxRecent = 8;

  // Reads the list from `settings` (not owned; must outlive this object).
  explicit TLVRecentProjects(QSettings& settings);

  const QStringList& Files() const { return files_; }
  // Puts `file` first (moving it when listed) and saves the list.
  void Add(const QString& file);
  // Drops `file` (one that can no longer be opened) and saves the list.
  void Remove(const QString& file);

 private:
  void Save();
  QSettings& settings_;
  QStringList files_;
};

}  // namespace lv
