#include "ActionsFixture.h"

#include "catalogue/AutosaveFolderScanner.h"
#include "foundation/BMLog.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <archive.h>
#include <archive_entry.h>

namespace {

const char* const kTree[] = {
    "Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj",
    "Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj",
    "Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-2.prproj",
    "Documents/Adobe Premiere Pro Auto-Save/Promo-1.prproj",
    "Documents/Adobe Premiere Pro Auto-Save/Promo-2.prproj",
    "Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent",
    "Movies/Wedding.fcpbundle/Ceremony/Backups/Ceremony 2026-11-16 10-00.fcpevent",
    "Movies/Wedding.fcpbundle/Ceremony/Backups/Ceremony 2026-11-18 10-00.fcpevent",
};

} // namespace

void ActionsTest::SetUp() {
    TempHomeTest::SetUp();
    BMLog::createNewLog(QStringLiteral("VestryTests"));
    // A pkexec that always refuses: a failed move never turns into a password prompt.
    const QString refusing = write(QStringLiteral("tools/pkexec"), "#!/bin/sh\nexit 127\n");
    QFile::setPermissions(refusing, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    home().platform().setToolPath(Tool::Pkexec, refusing);
    m_previousAuthorization = BMAuthorization::installShared(std::make_unique<BMAuthorization>());
    for (const char* relative : kTree)
        write(QString::fromUtf8(relative));
}

void ActionsTest::TearDown() {
    BMAuthorization::installShared(std::move(m_previousAuthorization));
    TempHomeTest::TearDown();
}

QString ActionsTest::premiere() const {
    return home().home() + QStringLiteral("/Documents/Adobe Premiere Pro Auto-Save");
}

QString ActionsTest::library() const {
    return home().home() + QStringLiteral("/Movies/Wedding.fcpbundle");
}

QString ActionsTest::write(const QString& relative, const QByteArray& contents) const {
    const QString path = home().home() + QLatin1Char('/') + relative;
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
    file.write(contents.isEmpty() ? relative.toUtf8() : contents);
    return path;
}

QByteArray ActionsTest::read(const QString& path) const {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool ActionsTest::exists(const QString& path) const {
    return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

BMProjectList ActionsTest::scan() const {
    AutosaveFolderScanner scanner;
    BMProjectList projects;
    for (const QString& location : {premiere(), library()})
        projects += scanner.projectsFromFolder(location).value_or(BMProjectList());
    return projects;
}

BMProjectPtr ActionsTest::project(const BMProjectList& projects, const QString& name) const {
    for (const BMProjectPtr& each : projects) {
        if (each->name() == name)
            return each;
    }
    ADD_FAILURE() << "no project " << name.toStdString();
    return nullptr;
}

BMAutoItemPtr ActionsTest::item(const BMProjectList& projects, const QString& name) const {
    for (const BMProjectPtr& each : projects) {
        for (const BMAutoItemPtr& child : each->children()) {
            if (child->name() == name)
                return child;
        }
    }
    ADD_FAILURE() << "no autosave " << name.toStdString();
    return nullptr;
}

SelectedRow ActionsTest::projectRow(const BMProjectList& projects, const QString& name) const {
    return SelectedRow::ofProject(project(projects, name));
}

SelectedRow ActionsTest::itemRow(const BMProjectList& projects, const QString& name) const {
    return SelectedRow::ofItem(item(projects, name));
}

QString ActionsTest::trashFolder() const {
    return home().home() + QStringLiteral("/.local/share/Trash");
}

QMap<QString, QString> ActionsTest::trashRecords() const {
    QMap<QString, QString> records;
    const QDir info(trashFolder() + QStringLiteral("/info"));
    for (const QString& name : info.entryList({QStringLiteral("*.trashinfo")}, QDir::Files)) {
        QFile file(info.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString inTrash = name.chopped(QStringLiteral(".trashinfo").size());
        // Only records whose item really is in the Trash count.
        if (QFileInfo::exists(trashFolder() + QStringLiteral("/files/") + inTrash))
            records.insert(inTrash, LinuxPlatform::originalPathFromTrashRecord(file.readAll()));
    }
    return records;
}

QMap<QString, QByteArray> ActionsTest::zipEntries(const QString& archivePath) {
    QMap<QString, QByteArray> entries;
    archive* reader = archive_read_new();
    archive_read_support_format_zip(reader);
    if (archive_read_open_filename(reader, QFile::encodeName(archivePath).constData(), 1 << 16) ==
        ARCHIVE_OK) {
        archive_entry* entry = nullptr;
        while (archive_read_next_header(reader, &entry) == ARCHIVE_OK) {
            QString name = QString::fromUtf8(archive_entry_pathname_utf8(entry));
            if (archive_entry_filetype(entry) == AE_IFDIR && !name.endsWith(QLatin1Char('/')))
                name += QLatin1Char('/');
            QByteArray contents;
            char buffer[8192];
            la_ssize_t n = 0;
            while ((n = archive_read_data(reader, buffer, sizeof buffer)) > 0)
                contents.append(buffer, n);
            entries.insert(name, contents);
        }
    } else {
        ADD_FAILURE() << "cannot open " << archivePath.toStdString() << ": " << archive_error_string(reader);
    }
    archive_read_free(reader);
    return entries;
}

QString ActionsTest::logText() const {
    BMLog::finishWriting();
    QFile file(BMLog::currentLogPath());
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
