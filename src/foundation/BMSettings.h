#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>

#include <functional>
#include <mutex>

// A store of named settings in one property-list file, safe to use from any thread.
// A value is looked up in the user's file, then in the computer-wide file (when the store
// has one), then among the registered defaults. Every change is written through to disk
// atomically, so the helper program, which reads the same file, sees it.
class BMSettings {
public:
    using PathSource = std::function<QString()>;

    // Paths are asked for on every access, so a store follows its folder when the
    // environment changes (a test's temporary home, the root rule).
    explicit BMSettings(PathSource userFile, PathSource computerWideFile = {});

    // The application's settings: "com.brightmoor.Vestry.plist" in the Preferences folder,
    // with the computer-wide layer in the local-domain Preferences folder.
    static BMSettings& standard();
    // The analytics switch's own file, "com.brightmoor.qc.plist", shared with the
    // analytics code.
    static BMSettings& analytics();
    // The maker-wide switches, "com.brightmoor.global.plist" (read-only here).
    static QVariantMap globalSettings();

    static QString standardFileName() { return QStringLiteral("com.brightmoor.Vestry.plist"); }
    static QString analyticsFileName() { return QStringLiteral("com.brightmoor.qc.plist"); }
    static QString globalFileName() { return QStringLiteral("com.brightmoor.global.plist"); }
    // The defaults of every setting that has one.
    static QVariantMap applicationDefaults();

    // Registration never overwrites stored values; later registrations of a key win.
    void registerDefaults(const QVariantMap& defaults);

    // Invalid when the key has neither a value nor a default.
    QVariant value(const QString& key) const;
    bool hasValue(const QString& key) const;
    bool boolValue(const QString& key) const;
    qint64 integerValue(const QString& key) const;
    // Null when absent or not text.
    QString stringValue(const QString& key) const;
    // Empty when absent or not a list of texts; see hasValue for telling the two apart.
    QStringList stringListValue(const QString& key) const;

    bool setValue(const QString& key, const QVariant& value);
    bool removeValue(const QString& key);
    // Writes what is pending and reads back what other programs changed.
    bool synchronize();
    // A change made from the file as it is now, with the file held against other Vestry runs
    // doing the same (`vestry pin`, the window's pins and locations, a location search), so
    // that no run writes back a list it read before another run changed it. False, with
    // error naming the holder, when another run held the file past LocationLock's wait; the
    // change is then not made. What change returns is returned.
    bool update(const QString& activity, const std::function<bool()>& change, QString* error = nullptr);

    // Writes a value into the computer-wide file (which needs administrator rights where
    // the folder is protected). False when there is no such layer or the write failed.
    bool setComputerWideValue(const QString& key, const QVariant& value);

    QString userFilePath() const;
    // What went wrong reading the user's file, for a person (the file, the cause, and what
    // became of it); null when it was read or is absent. A file that could not be read and
    // could not be set aside is never replaced: changes then stay in memory only.
    QString userFileProblem() const;
    QString computerWideFilePath() const;

private:
    void ensureLoaded() const;
    void reloadUnlessPending();
    bool writeUserFile();

    PathSource m_userFile;
    PathSource m_computerWideFile;
    mutable std::recursive_mutex m_mutex;
    mutable QString m_loadedUserPath;
    mutable QString m_loadedComputerWidePath;
    mutable QVariantMap m_user;
    mutable QVariantMap m_computerWide;
    mutable bool m_loaded = false;
    mutable bool m_userFileMustBeKept = false;
    mutable QString m_userFileProblem;
    QString m_writeProblem;
    bool m_dirty = false;
    QVariantMap m_defaults;
};
