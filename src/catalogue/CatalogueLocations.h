#pragma once

#include <QString>
#include <QStringList>

class BMSettings;

// The locations a catalogue build scans, in scanning order: the discovered ones
// ("autosavePaths", kept as stored, repeats included), then the user's own ("manualPaths")
// that are not listed yet (exact text), then the shared Avid attics that exist. The attics
// are never compared with the rest, so an attic that is also a manual path is scanned twice.
class CatalogueLocations {
public:
    // The two shared attics of Avid Media Composer and Avid Symphony.
    static QStringList defaultSharedAvidAttics();

    // Tests point the attics into a temporary folder.
    explicit CatalogueLocations(QStringList sharedAvidAttics = defaultSharedAvidAttics());

    // The folder paths stored under a key ("autosavePaths", "manualPaths"). An entry that is
    // not text, or not an absolute path, is skipped with a warning naming it and the list
    // (once per run); the other entries still count.
    static QStringList storedPaths(const BMSettings& settings, const QString& key);
    // The paths as they are written there: a folder inside the home as "~/...", so that the
    // settings travel with a home that is copied or moved.
    static QStringList storablePaths(const QStringList& paths);
    // "autosavePaths", then the "manualPaths" not already in the list.
    static QStringList storedLocations(const BMSettings& settings);
    // The locations of a list that are not folders now: on a volume that is not mounted, or
    // gone. They stay stored, and the catalogue says they are offline rather than dropping
    // them in silence.
    static QStringList offlineLocations(const QStringList& locations);
    // The shared attics that exist now.
    QStringList existingSharedAvidAttics() const;
    QStringList locations(const BMSettings& settings) const;

private:
    QStringList m_sharedAvidAttics;
};
