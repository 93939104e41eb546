#pragma once

#include "foundation/BMDigest.h"
#include "foundation/BMFileManager.h"
#include "foundation/FileTree.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

// What an archive holds, written at its top as "manifest.json" while it is made: each
// autosave's original path, entry, size, creation and modification dates and SHA-256 (a
// bundle lists its files, each with its own), so that the zip can be checked later against
// what went into it without the originals. The digests come from the gathering copy itself.
class ArchiveManifest : private FileTree::ContentObserver {
public:
    static QString fileName() { return QStringLiteral("manifest.json"); }

    struct File {
        QString entry; // its name in the archive
        qint64 size = 0;
        QString sha256;
        qint64 modifiedMsecs = 0;
    };
    struct Autosave {
        QString path;
        QString entry;
        qint64 size = 0;
        qint64 createdMsecs = 0; // BMAutoItem::noDate when the file system gave none
        qint64 modifiedMsecs = 0;
        bool bundle = false;
        QList<File> files; // the autosave's own one, or a bundle's
    };

    // Records the autosave copied next under its entry; its files arrive through observer().
    void beginAutosave(const QString& path, const QString& entry, qint64 createdMsecs);
    FileTree::ContentObserver* observer();

    const QList<Autosave>& autosaves() const { return m_autosaves; }
    QByteArray toJson() const;
    static std::optional<ArchiveManifest> fromJson(const QByteArray& json, QString* error);

    // What differs between the archive's entries and the manifest, one line per entry:
    // changed, missing or not in the manifest. Empty when they agree.
    QStringList differencesFrom(const QMap<QString, BMFileManager::ZipEntry>& entries) const;

    struct Verification {
        QString error;           // the archive or its manifest could not be read
        QStringList differences; // see differencesFrom
        int files = 0;           // how many files the manifest lists
        bool ok() const { return error.isEmpty() && differences.isEmpty(); }
    };
    // Reads the archive once and checks it against the manifest it carries.
    static Verification verify(const QString& archive);

private:
    void fileStarted(const QByteArray& source, const struct stat& status) override;
    void fileData(const char* data, size_t size) override;
    void fileFinished() override;

    QList<Autosave> m_autosaves;
    // The file being copied now.
    QByteArray m_root;
    File m_file;
    std::optional<BMDigestContext> m_digest;
};
