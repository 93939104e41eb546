#pragma once

#include <QString>
#include <QStringList>

// Which Premiere Pro versions are installed, as the version texts of the editor's own
// preference folders ("7.0", "8.0.0", ...). Found from the application registered under
// Premiere's bundle identifier and the folders beside it.
class BMPremiere {
public:
    static QStringList premiereVersions();
    // Searches the folder that holds the registered application and the folder above it.
    static QStringList versionsForAppName(const QString& namePrefix);
    // Entries of the folder whose names begin (in any case) with the prefix: the version of
    // "<entry>/<entry>.app", else the product version in its configuration file.
    static QStringList versionsForAppName(const QString& namePrefix, const QString& folder);
    static QStringList suiteVersions();
    // Entries beginning with "Adobe Premiere ": the product version in the configuration
    // file, else the versions of the "Adobe Premiere Pro *.app" bundles inside, cut to two
    // parts.
    static QStringList suiteVersionsInFolder(const QString& folder);
    // The "ProductVersion" of an "XManConfig.xml"; null when it has none.
    static QString productVersionFromConfiguration(const QString& path);

    static QString applicationPath();
};
