#pragma once

#include "BMProject.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class BMSettings;
class NamePattern;

// How a scan went, for callers that explain failures to a person (the command line). The
// catalogue itself only looks at the projects.
enum class ScanStatus {
    Scanned,       // listed (possibly without finding anything)
    UnknownSuffix, // the path ends with none of the accepted suffixes
    Missing,
    NotAFolder,
    ListingFailed,
    Failed, // an exception ended the scan
};

// Turns one autosave location into projects. The layout is chosen from how the folder's
// path ends, as text: "Avid Attic" or, on Avid shared storage, "Unity Attic" (user folders
// with Bins), ".fcpbundle" (Final Cut Pro X events with their backups), "Autosave Vault" and
// "Adobe Premiere Pro Auto-Save" (a folder per project, plus Premiere files lying loose). A
// trailing slash matches nothing.
//
// Inside a location a symbolic link is never followed: at any level, a link to a folder or a
// file, dangling or not, is neither a project nor an autosave, so nothing that acts on the
// catalogue can reach its target.
//
// A scanner keeps no state between calls; several threads may scan different folders with
// one scanner at the same time. The returned nodes are new and shared with nobody.
class AutosaveFolderScanner {
public:
    // Called with the "~"-abbreviated folder when a scan stores the first autosave folder in
    // the settings. It runs on the scanning thread: the window marshals it to its own.
    using AutosaveFolderHook = std::function<void(const QString& folder)>;

    explicit AutosaveFolderScanner(BMSettings& settings);
    AutosaveFolderScanner();

    void setAutosaveFolderHook(AutosaveFolderHook hook) { m_hook = std::move(hook); }

    // Called, on the scanning thread, with each thing a scan passed over or could not take
    // as it is, for a person to read: a symbolic link (never followed), a folder that cannot
    // be read, a name that is not valid UTF-8 (escaped; the item is still listed). Every
    // warning goes to the log as well.
    using WarningHook = std::function<void(const QString& warning)>;
    void setWarningHook(WarningHook hook) { m_warningHook = std::move(hook); }

    // The projects of the folder, in listing order; empty when the folder is not a location
    // or cannot be listed. Nothing only when an exception ended the scan (it is logged).
    std::optional<BMProjectList> projectsFromFolder(const QString& folder,
                                                    ScanStatus* status = nullptr) const;
    // The same projects in the same order, each handed over as soon as nothing later in the
    // folder can add to it, so that a caller that prints as it goes never holds the folder's
    // whole catalogue. A name that is not valid UTF-8 is warned about as its project goes.
    // False only when an exception ended the scan (the projects so far were handed over).
    using ProjectSink = std::function<void(const BMProjectPtr& project)>;
    bool scanFolder(const QString& folder, const ProjectSink& sink, ScanStatus* status = nullptr) const;

    enum class Layout { None, Avid, Library, Folder };
    static Layout layoutForFolder(const QString& folder);
    // "Autosave Vault", "Adobe Premiere Pro Auto-Save", "Avid Attic", "Unity Attic", ".fcpbundle".
    static QStringList acceptedSuffixes();

    // The project of a Premiere file lying loose: the name without its extension and without
    // its last "-" piece ("My-Cut-12.prproj" gives "My-Cut"; "Untitled.prproj" gives "").
    // With the setting premiereGroupTimestampedCopies on (the default), PremiereCopyNames
    // decides instead.
    static QString looseProjectName(const QString& fileName);
    bool groupsTimestampedCopies() const;
    // Final Cut Pro's vault copies: "<name>_MM-DD-YY_HHMM".
    static const NamePattern& vaultNamePattern();
    // Motion's: "<name>_YYYY-MM-DD_HHMM.motn".
    static const NamePattern& motionNamePattern();

private:
    std::optional<BMProjectList> scan(const QString& folder, const ProjectSink& sink,
                                      ScanStatus* status) const;

    BMSettings& m_settings;
    AutosaveFolderHook m_hook;
    WarningHook m_warningHook;
};
