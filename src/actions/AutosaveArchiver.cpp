#include "AutosaveArchiver.h"

#include "ArchiveManifest.h"
#include "LocationLocks.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/BMTaskEx.h"
#include "foundation/DestructiveGuard.h"
#include "foundation/FileName.h"
#include "foundation/FileTree.h"
#include "foundation/PathText.h"
#include "foundation/ScratchFolder.h"
#include "foundation/platform/Platform.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Result = AutosaveArchiver::Result;

Result failed(const QString& logLine, const QString& message, const QString& informative) {
    BMLog::appendLog(logLine);
    Result result;
    result.error = ActionError{message, informative};
    return result;
}

// The autosaves to gather, each once, in row order; files gone meanwhile are left out. A
// file is known by its real path: a project given again through a link to its location
// would otherwise be gathered twice, and the second copy refused.
BMAutoItemList existingAutosaves(const SelectedRows& rows) {
    BMAutoItemList autosaves;
    QSet<QString> seen;
    for (const BMAutoItemPtr& item : AutosaveSelection::autosavesOf(rows)) {
        if (!item || !FileTree::exists(item->path()))
            continue;
        const QString real = DestructiveGuard::canonicalPath(item->path());
        const QString key = real.isEmpty() ? item->path() : real;
        if (seen.contains(key))
            continue;
        seen.insert(key);
        autosaves << item;
    }
    return autosaves;
}

bool compress(const QString& folder, const QString& destination, QString* failure, const CancelFlag* cancel) {
    const QString ditto = Platform::current().toolPath(Tool::Ditto);
    if (BMTaskEx::isExecutable(ditto)) {
        BMTaskEx::runTask(ditto, {QStringLiteral("-c"), QStringLiteral("-k"),
                                  QStringLiteral("--sequesterRsrc"), folder, destination});
        return BMFileManager::fileExistsAtPath(destination);
    }
    return BMFileManager::compressFile(folder, destination, false, failure, cancel);
}

// The entry an autosave has in the archive: the folder that held it, then its own name.
QString entryFor(const BMAutoItemPtr& item) {
    return QStringLiteral("%1/%2").arg(
        PathText::lastComponent(AutosaveSelection::containingFolder(item->path())),
        PathText::lastComponent(item->path()));
}

Result cancelled() {
    BMLog::appendLog(QStringLiteral("Archiving cancelled; nothing was moved to the Trash."));
    Result result;
    result.cancelled = true;
    return result;
}

// Takes away the archive this run has just written, and only that: a plain file whose real
// path is the destination itself, never a link or a folder found there.
void removeOwnArchive(const QString& destination) {
    const QByteArray path = QFile::encodeName(destination);
    const QFileInfo info(destination);
    const QString real =
        PathText::appendingComponent(QFileInfo(info.absolutePath()).canonicalFilePath(), info.fileName());
    struct stat status {};
    if (::lstat(path.constData(), &status) != 0 || !S_ISREG(status.st_mode) ||
        info.canonicalFilePath() != real) {
        BMLog::appendLog(
            QStringLiteral("Not removing %1: it is not the archive this run wrote.").arg(destination));
        return;
    }
    if (::unlink(path.constData()) != 0) {
        BMLog::appendLog(QStringLiteral("Unable to remove the unfinished archive %1: %2")
                             .arg(destination, QString::fromLocal8Bit(std::strerror(errno))));
    }
}

// The manifest at the top of the archive, beside the folders; a folder of that name would
// refuse it rather than be overwritten.
bool writeManifest(const QString& temp, const QByteArray& json, QString* error) {
    const QString path = PathText::appendingComponent(temp, ArchiveManifest::fileName());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        *error = FileTree::exists(path) ? FileTree::errorDescription(path, EEXIST)
                                        : QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    if (file.write(json) != json.size() || !file.flush()) {
        *error = QStringLiteral("%1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

Result gatherAndCompress(const BMAutoItemList& autosaves, const QString& temp, const QString& destination,
                         ArchiveManifest& manifest, const ProgressCallback& progress,
                         const CancelFlag* cancel, AutosaveArchiver::Existing existing) {
    QString error;
    qint64 totalBytes = 0;
    for (const BMAutoItemPtr& item : autosaves)
        totalBytes += qint64(FileTree::contentSize(item->path()));
    qint64 doneBytes = 0;
    reportProgress(progress, ActionProgress::Stage::Gathering, 0, totalBytes);
    FileTree::CopyControl control;
    // The copies are this run's own, so a stop may cut one short: it goes with the scratch folder.
    control.cancelled = cancel;
    control.observer = manifest.observer();
    control.flush = false; // the copies go with the scratch folder once zipped
    if (progress) {
        control.progress = [&](quint64 copied) {
            reportProgress(progress, ActionProgress::Stage::Gathering, doneBytes + qint64(copied),
                           totalBytes);
        };
    }
    for (const BMAutoItemPtr& item : autosaves) {
        if (isCancelled(cancel))
            return cancelled();
        const QString folderName = PathText::lastComponent(AutosaveSelection::containingFolder(item->path()));
        const QString target = QStringLiteral("%1/%2").arg(temp, folderName);
        if (!BMFileManager::isDirectoryAtPath(target) && !FileTree::createDirectories(target, &error)) {
            return failed(QStringLiteral("Unable to create directory %1 - %2").arg(target, error),
                          QStringLiteral("Unable to create directory %1").arg(target), error);
        }
        const QString copy = PathText::appendingComponent(target, PathText::lastComponent(item->path()));
        manifest.beginAutosave(item->path(), entryFor(item), item->createdMsecs());
        if (!FileTree::copyItem(item->path(), copy, &error, &control)) {
            if (isCancelled(cancel))
                return cancelled();
            BMLog::appendLog(QStringLiteral("Unable to copy %1 to %2: %3").arg(item->path(), copy, error));
            // The copy's error names the file and the cause (a full disk, a file that cannot
            // be read), which is what the user can act on.
            return failed(QStringLiteral("Unable to copy files to temp folder. Archiving aborted."),
                          QStringLiteral("Unable to copy files to temp folder."),
                          QStringLiteral("Archiving aborted. %1").arg(error));
        }
        doneBytes += qint64(FileTree::contentSize(item->path()));
    }
    reportProgress(progress, ActionProgress::Stage::Gathering, totalBytes, totalBytes);

    if (BMFileManager::contentsOfDirectory(temp).isEmpty()) {
        return failed(QStringLiteral("Error: no files to archive. Archiving aborted."),
                      QStringLiteral("Error: no files to archive."), QStringLiteral("Archiving aborted."));
    }
    if (!writeManifest(temp, manifest.toJson(), &error)) {
        return failed(QStringLiteral("Unable to write the archive's manifest: %1").arg(error),
                      QStringLiteral("Error: unable to create archive."),
                      QStringLiteral("Archiving aborted. %1").arg(error));
    }

    if (isCancelled(cancel))
        return cancelled();
    reportProgress(progress, ActionProgress::Stage::Compressing, 0, 0);
    if (existing == AutosaveArchiver::Existing::Refuse && FileTree::exists(destination)) {
        const QString cause =
            QStringLiteral("%1 appeared while the autosaves were gathered (another archive?); it is left as "
                           "it is and nothing was moved to the Trash.")
                .arg(FileName::displayText(destination));
        return failed(cause, QStringLiteral("Error: unable to create archive."), cause);
    }
    const bool replaced = !FileTree::exists(destination) || BMFileManager::trashFile(destination);
    QString cause;
    if (!replaced)
        cause = QStringLiteral("%1 is in the way and could not be moved to the Trash.").arg(destination);
    if (!replaced || !compress(temp, destination, &cause, cancel)) {
        if (isCancelled(cancel))
            return cancelled(); // the unfinished archive was never put in place
        // A full disk or a folder the user may not write is theirs to fix; only an archive that
        // failed for no reason given is the program's fault.
        return failed(QStringLiteral("Error: unable to create archive."),
                      QStringLiteral("Error: unable to create archive."),
                      cause.isEmpty() ? QStringLiteral("Please report this error to Brightmoor.") : cause);
    }
    if (isCancelled(cancel)) {
        removeOwnArchive(destination);
        return cancelled();
    }
    Result result;
    result.archived = true;
    result.autosaves = autosaves.size();
    return result;
}

// The proof that the archive holds every autosave before any goes to the Trash: its entries
// read back, each autosave's entry there with all the bytes the autosave has now, every file
// with the SHA-256 it had when it was gathered, nothing else beside them, and each autosave
// still as it was gathered.
ActionError checkArchive(const QString& destination, const BMAutoItemList& autosaves,
                         const ArchiveManifest& manifest) {
    QString error;
    QByteArray json;
    const std::optional<QMap<QString, BMFileManager::ZipEntry>> contents =
        BMFileManager::zipEntries(destination, ArchiveManifest::fileName(), &json, &error);
    const QString nothingMoved =
        QStringLiteral("Nothing was moved to the Trash; the archive is left at %1.").arg(destination);
    if (!contents) {
        BMLog::appendLog(QStringLiteral("Unable to read back the archive %1: %2").arg(destination, error));
        return ActionError{QStringLiteral("Error: the archive cannot be read back."),
                           QStringLiteral("%1 %2").arg(error, nothingMoved)};
    }
    QStringList lacking;
    for (const BMAutoItemPtr& item : autosaves) {
        const QString name = entryFor(item);
        bool found = false;
        qint64 bytes = 0;
        for (auto it = contents->lowerBound(name); it != contents->cend() && it.key().startsWith(name);
             ++it) {
            if (it.key() == name || it.key().at(name.size()) == QLatin1Char('/')) {
                found = true;
                bytes += it->size;
            }
        }
        if (!found || bytes != qint64(FileTree::contentSize(item->path()))) {
            const QString shown = FileName::displayText(item->path());
            BMLog::appendLog(QStringLiteral("The archive %1 lacks %2 (%3)")
                                 .arg(destination, shown,
                                      found ? QStringLiteral("%1 bytes of %2")
                                                  .arg(bytes)
                                                  .arg(FileTree::contentSize(item->path()))
                                            : QStringLiteral("no entry %1").arg(name)));
            // Zip names are UTF-8: other bytes do not come back as they were.
            lacking << (FileName::hasInvalidBytes(item->path())
                            ? QStringLiteral("%1 (its name is not valid UTF-8)").arg(shown)
                            : shown);
        }
    }
    if (!lacking.isEmpty()) {
        return ActionError{
            QStringLiteral("Error: the archive is incomplete."),
            QStringLiteral("It lacks %1. %2").arg(lacking.join(QStringLiteral(", ")), nothingMoved)};
    }
    QStringList differences = manifest.differencesFrom(*contents);
    if (!contents->contains(ArchiveManifest::fileName()) || json != manifest.toJson())
        differences.prepend(
            QStringLiteral("%1: not the manifest this run wrote").arg(ArchiveManifest::fileName()));
    for (const ArchiveManifest::Autosave& autosave : manifest.autosaves()) {
        struct stat now {};
        const bool same =
            ::lstat(FileName::encode(autosave.path).constData(), &now) == 0 &&
            (autosave.bundle ||
             (now.st_size == autosave.size &&
              qint64(now.st_mtim.tv_sec) * 1000 + now.st_mtim.tv_nsec / 1000000 == autosave.modifiedMsecs));
        if (!same)
            differences << QStringLiteral("%1: changed after it was archived")
                               .arg(FileName::displayText(autosave.path));
    }
    if (differences.isEmpty())
        return ActionError{};
    BMLog::appendLog(QStringLiteral("The archive %1 does not match its manifest: %2")
                         .arg(destination, differences.join(QStringLiteral("; "))));
    return ActionError{QStringLiteral("Error: the archive does not match what was gathered."),
                       QStringLiteral("%1. %2").arg(differences.join(QStringLiteral("; ")), nothingMoved)};
}

} // namespace

QString AutosaveArchiver::temporaryFolderParent() {
    return PathText::appendingComponent(BMLocalPaths::appSupportDirectory(true),
                                        QStringLiteral("Brightmoor/Halvern"));
}

QString AutosaveArchiver::proposedFileName(const SelectedRows& rows) {
    if (rows.isEmpty())
        return QString();
    return QStringLiteral("%1.zip").arg(PathText::deletingExtension(rows.first().name()));
}

AutosaveArchiver::Result
AutosaveArchiver::archiveSelectionToFile(const SelectedRows& rows, const QString& destination,
                                         const ProgressCallback& progress, const CancelFlag* cancel,
                                         const PinnedPaths& pins, Existing existing) {
    Result result;
    try {
        BMLog::appendLog(QStringLiteral("Archiving autosaves to file..."));
        QString error;
        const std::optional<LocationLocks> locks = LocationLocks::acquire(
            AutosaveSelection::autosavesOf(rows),
            QStringLiteral("archiving autosaves to %1").arg(PathText::lastComponent(destination)), &error,
            cancel);
        if (!locks && isCancelled(cancel))
            return cancelled();
        if (!locks)
            return failed(error, QStringLiteral("Unable to archive: an autosave location is busy."), error);
        const BMAutoItemList autosaves = existingAutosaves(rows);
        // A folder of this run's own: another archive at the same time has another.
        std::optional<ScratchFolder> temp =
            ScratchFolder::create(temporaryFolderParent(), QStringLiteral("Vestry Temp "), &error);
        if (!temp) {
            return failed(QStringLiteral("Error: Unable to create temporary directory. %1").arg(error),
                          QStringLiteral("Error: Unable to create temporary directory"), error);
        }
        ArchiveManifest manifest;
        result =
            gatherAndCompress(autosaves, temp->path(), destination, manifest, progress, cancel, existing);
        // The copies have done their work; a gigabyte of them should not stay behind.
        if (!temp->remove(&error))
            BMLog::appendLog(QStringLiteral("Unable to remove the temporary folder: %1").arg(error));
        if (result.archived) {
            result.error = checkArchive(destination, autosaves, manifest);
            if (result.error.isError()) {
                result.archived = false;
                return result;
            }
            QSet<QString> archived;
            for (const BMAutoItemPtr& item : autosaves) {
                if (pins.isPinned(*item))
                    result.pinned << item->path();
                else
                    archived.insert(item->path());
            }
            if (!result.pinned.isEmpty()) {
                BMLog::appendLog(QStringLiteral("Archived but not moved to the Trash, being pinned: %1")
                                     .arg(result.pinned.join(QStringLiteral(", "))));
            }
            result.removal = AutosaveRemoval::removeIndexSet(
                rows, progress, AutosaveRemoval::OnFailure::Continue, &archived, cancel);
        }
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController archiveSelectionToFile:]");
    }
    return result;
}
