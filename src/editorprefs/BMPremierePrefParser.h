#pragma once

#include <QString>
#include <QStringList>

// Where Premiere Pro keeps auto-saves and previews: beside its scratch disks, which each
// recent project names. The candidates come from the editor's XML preference file (its
// recently used documents) and, unless asked to be fast, from each recent project's
// scratch-disk settings. Every failure is logged and replaced by the version's default
// folder, so a machine where Premiere never ran still yields its Documents-based folder.
class BMPremierePrefParser {
public:
    enum class Query {
        Full, // reads every recent project's preview locations
        Fast, // takes each recent project's own folder instead
    };

    // No versions: the installed ones, else "7.0". Folders without duplicates, in the order
    // first found.
    static QStringList recentScratchDisks(const QStringList& versions = QStringList(),
                                          Query query = Query::Full);
    static QStringList recentRenderPaths(const QStringList& versions = QStringList(),
                                         Query query = Query::Full);
    // The scratch folders, then the projects' own auto-save locations, each with the
    // auto-save folder's name appended.
    static QStringList recentAutosavePaths(const QStringList& versions = QStringList(),
                                           Query query = Query::Full);

    // Sets the text of every node the query selects in the version's preference file and
    // writes the file back atomically. Errors are logged; false when nothing was written.
    static bool setStringValue(const QString& value, const QString& xpath, const QString& version);

    // Folders whose path ends (in any case) in "/<name>", as Spotlight reports them; empty
    // when there is no Spotlight.
    static QStringList spotlightSearchForFoldersWithName(const QString& name);

    // "7.0.0" is read as "7.0".
    static QString normalizedVersion(const QString& version);
    // The preference file in Application Support, whether or not it exists.
    static QString preferenceFilePath(const QString& version);
    // That file, else the first "Profile-*" one under Documents; null when neither exists.
    static QString findPreferenceFile(const QString& version);
    // Documents + "/Adobe/Premiere Pro/<version>".
    static QString defaultFolder(const QString& version);

    static const QString recentDocumentsQuery;
    // The first VideoPreviewLocation or AudioPreviewLocation, whichever comes first.
    static const QString previewLocationsQuery;
    // The names that projects saved by later versions use; what they find comes after what
    // the query above finds.
    static const QString newerPreviewLocationsQuery;
    // The folder that holds the project's "Adobe Premiere Pro Auto-Save" folder.
    static const QString autoSaveLocationQuery;

    static constexpr qint64 maximumPreferenceFileSize = qint64(64) << 20;
    // Also the bound on a compressed project once inflated: a zip bomb costs no more memory
    // than the largest plain project that is read.
    static constexpr qint64 maximumProjectFileSize = qint64(512) << 20;
};
