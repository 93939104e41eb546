#pragma once

#include "platform/Platform.h"

#include <QString>
#include <QStringList>

#include <optional>

// A folder opened once and read through its descriptor: its entries listed in one pass and
// each examined relative to it, so that a deep tree costs no walk of the whole path per file.
// An entry that is a link is never followed; the folder itself only when asked.
class OpenFolder {
public:
    explicit OpenFolder(const QString& path, bool followLink = false);
    // The entry name of an open folder; path is where it is.
    OpenFolder(const OpenFolder& parent, const QString& name, const QString& path);
    ~OpenFolder();
    OpenFolder(const OpenFolder&) = delete;
    OpenFolder& operator=(const OpenFolder&) = delete;

    bool isOpen() const { return m_fd >= 0; }
    // The errno of the open or of the listing that failed, else 0.
    int error() const { return m_error; }
    const QString& path() const { return m_path; }

    // The names in the order BMFileManager::contentsOfDirectory gives them, links set apart
    // (in the same order) when asked for; false, with error() set, when it cannot be read.
    bool list(QStringList* names, QStringList* links = nullptr);
    std::optional<FileFacts> facts(const QString& name) const;
    std::optional<QByteArray> finderInfo(const QString& name) const;

private:
    QString m_path;
    int m_fd = -1;
    int m_error = 0;
};
