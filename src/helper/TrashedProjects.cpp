#include "TrashedProjects.h"

#include "catalogue/AutosaveType.h"
#include "editorprefs/InputFile.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/FileName.h"
#include "foundation/LocationLock.h"
#include "foundation/PathText.h"
#include "foundation/platform/Platform.h"
#if defined(Q_OS_LINUX)
#include "foundation/platform/linux/FreedesktopTrash.h"
#endif

#include <QFile>
#include <QSet>

#include <cstring>

namespace {

// Only a regular file: a named pipe put among the records would block the run for good.
QByteArray readSmallFile(const QString& path) {
    return InputFile::readAll(path, 64 * 1024).value_or(QByteArray());
}

bool hasFinalCutType(const QString& path) {
    const std::optional<QByteArray> info = Platform::current().finderInfo(path);
    return info && info->size() >= 4 && std::memcmp(info->constData(), "FCPF", 4) == 0;
}

// The top of the volume of a ".Trash-$uid/files" or ".Trash/$uid/files".
QString volumeTop(const QString& itemsFolder) {
    const QString trash = PathText::deletingLastComponent(itemsFolder);
    const QString above = PathText::deletingLastComponent(trash);
    return PathText::lastComponent(above) == QLatin1String(".Trash") ? PathText::deletingLastComponent(above)
                                                                     : above;
}

} // namespace

QStringList TrashedProjects::trashItemFolders(const QStringList& locations) {
    // The same Trashes that putting back looks in: the home's, and the volumes' that are real
    // folders of the user's, never a link planted at the top of a volume.
    QStringList folders;
    for (const QString& trash : TrashRestore::trashFolders(locations)) {
        const QString items = Platform::current().trashItemsFolder(trash);
        if (BMFileManager::isDirectoryAtPath(items))
            folders << items;
    }
    return folders;
}

bool TrashedProjects::describe(const QString& originalName, bool finalCutType, TrashedProject& project) {
    struct Kind {
        const char* extension;
        int type;
    };
    static constexpr Kind kinds[] = {{"prproj", AutosaveType::Premiere},
                                     {"motn", AutosaveType::Motion},
                                     {"fcp", AutosaveType::FinalCut},
                                     {"avp", AutosaveType::Avid},
                                     {"fcpbundle", AutosaveType::FinalCutX}};
    const QString extension = PathText::extension(originalName);
    for (const Kind& kind : kinds) {
        if (!extension.isEmpty() &&
            extension.compare(QLatin1String(kind.extension), Qt::CaseInsensitive) == 0) {
            project.type = kind.type;
            project.projectName = PathText::deletingExtension(originalName);
            return !project.projectName.isEmpty();
        }
    }
    if (!finalCutType)
        return false;
    project.type = AutosaveType::FinalCut;
    project.projectName = originalName;
    return true;
}

QList<TrashedProject> TrashedProjects::inFolder(const QString& itemsFolder) {
    QList<TrashedProject> found;
    const QString info =
        PathText::appendingComponent(PathText::deletingLastComponent(itemsFolder), QStringLiteral("info"));
    for (const QString& name : BMFileManager::contentsOfDirectory(itemsFolder)) {
        TrashedProject project;
        project.pathInTrash = PathText::appendingComponent(itemsFolder, name);
        project.originalName = name;
        const QByteArray record =
            readSmallFile(PathText::appendingComponent(info, name + QStringLiteral(".trashinfo")));
        if (const std::optional<Record> parsed = TrashRestore::parseRecord(record)) {
            project.originalPath = parsed->originalPath;
            // A volume's Trash keeps paths relative to the volume's top.
            if (!project.originalPath.startsWith(QLatin1Char('/')))
                project.originalPath =
                    PathText::appendingComponent(volumeTop(itemsFolder), project.originalPath);
            project.originalName = PathText::lastComponent(parsed->originalPath);
            project.trashedAt = parsed->deletionDate;
        }
        const bool plainFile = !BMFileManager::isDirectoryAtPath(project.pathInTrash);
        if (describe(project.originalName, plainFile && hasFinalCutType(project.pathInTrash), project))
            found << project;
    }
    return found;
}

bool TrashedProjects::matches(const TrashedProject& trashed, const BMProject& project) {
    if (AutosaveType::normalized(project.type()) != trashed.type)
        return false;
    if (trashed.type != AutosaveType::FinalCutX)
        return project.name() == trashed.projectName;
    // A library's events are projects of their own: the library itself is their location,
    // and its backups lie in "Final Cut Backups.localized/<library>/".
    const QString location = project.location();
    return PathText::lastComponent(location) == trashed.originalName ||
           location.contains(QStringLiteral("/Final Cut Backups.localized/%1/").arg(trashed.projectName));
}
