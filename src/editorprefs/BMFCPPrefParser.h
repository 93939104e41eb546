#pragma once

#include "FcsetScanner.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <mutex>
#include <optional>

// Where Final Cut Pro 7 (or Final Cut Express) keeps its scratch folders, above all the
// "Autosave Vault", read from the editor's own binary preference file. The results are
// cached in a file shared with the maker's sibling product, keyed by the preference file's
// modification date, so the file is scanned again only after the editor changed it.
//
// One reader may be used from several threads at once (location searches overlap): every
// operation holds the reader's lock, so a load and the getters never interleave.
class BMFCPPrefParser {
public:
    enum class Edition { FinalCutPro, FinalCutExpress };

    explicit BMFCPPrefParser(Edition edition = Edition::FinalCutPro);
    BMFCPPrefParser(const BMFCPPrefParser& other);
    BMFCPPrefParser& operator=(const BMFCPPrefParser& other);
    static BMFCPPrefParser initWithFinalCutExpress() { return BMFCPPrefParser(Edition::FinalCutExpress); }

    bool isFCE() const { return m_isFCE; }
    bool dataIsLoaded() const;

    void loadData();
    // With a list of key names ("autoSaveVault", ...), the scan ends once each was found.
    void loadDataForTypes(const std::optional<QStringList>& types);
    // True when the cache held this editor's paths for the preference file as it is now.
    bool loadCacheData();
    // Stores the current paths under this editor's name, merged into the shared cache.
    bool cacheData();

    // Null when the application, its information or its version cannot be found.
    QString preferenceFilePath();
    QString fcpBundlePath() const;
    QString defaultRootFolder() const;
    static QString bootVolumeName();
    // A classic colon-separated path as a POSIX path.
    static QString formatPath(const QString& path);
    void setPathForKey(const QString& key, const QStringList& candidates);
    void setupDefaults();
    void setNil();

    // Scans preference text that is already in memory (what loadDataForTypes does with the
    // file), without the cache.
    void scanPreferenceText(QByteArrayView text, const std::optional<QStringList>& types = std::nullopt);

    // The shared cache: Caches folder + "com.brightmoor.Wayfind.cache.plist".
    static QString cacheFilePath();
    QString editorName() const;

    QString autosavePath() const { return value(&BMFCPPrefParser::m_autosavePath); }
    QString renderPath() const { return value(&BMFCPPrefParser::m_renderPath); }
    QString audioRenderPath() const { return value(&BMFCPPrefParser::m_audioRenderPath); }
    QString scratchPath() const { return value(&BMFCPPrefParser::m_scratchPath); }
    QString captureScratchPath() const { return value(&BMFCPPrefParser::m_captureScratchPath); }
    QString audioCaptureScratchPath() const { return value(&BMFCPPrefParser::m_audioCaptureScratchPath); }
    QString waveformCachePath() const { return value(&BMFCPPrefParser::m_waveformCachePath); }
    QString thumbnailCachePath() const { return value(&BMFCPPrefParser::m_thumbnailCachePath); }
    void setAutosavePath(const QString& path) { setValue(&BMFCPPrefParser::m_autosavePath, path); }
    void setRenderPath(const QString& path) { setValue(&BMFCPPrefParser::m_renderPath, path); }
    void setAudioRenderPath(const QString& path) { setValue(&BMFCPPrefParser::m_audioRenderPath, path); }
    void setScratchPath(const QString& path) { setValue(&BMFCPPrefParser::m_scratchPath, path); }
    void setCaptureScratchPath(const QString& path) {
        setValue(&BMFCPPrefParser::m_captureScratchPath, path);
    }
    void setAudioCaptureScratchPath(const QString& path) {
        setValue(&BMFCPPrefParser::m_audioCaptureScratchPath, path);
    }
    void setWaveformCachePath(const QString& path) { setValue(&BMFCPPrefParser::m_waveformCachePath, path); }
    void setThumbnailCachePath(const QString& path) {
        setValue(&BMFCPPrefParser::m_thumbnailCachePath, path);
    }

    // Reading stops here: a preference file is a few hundred kilobytes, and a huge or
    // growing file must not keep the reader busy for long.
    static constexpr qint64 maximumFileSize = qint64(256) << 20;

private:
    QString value(QString BMFCPPrefParser::*member) const;
    void setValue(QString BMFCPPrefParser::*member, const QString& path);
    static QString BMFCPPrefParser::*memberForCacheKey(const char* cacheKey);
    void keyFinished(const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates);
    QString versionFromInfo(const QString& bundlePath);
    // The preference file's modification date in whole seconds, as the cache stores it.
    std::optional<QDateTime> preferenceFileDate();
    QVariantMap cacheEntry(const QDateTime& date) const;

    // Recursive: operations call one another.
    mutable std::recursive_mutex m_mutex;
    bool m_isFCE = false;
    QString m_preferenceFilePath;
    QString m_autosavePath;
    QString m_renderPath;
    QString m_audioRenderPath;
    QString m_scratchPath;
    QString m_captureScratchPath;
    QString m_audioCaptureScratchPath;
    QString m_waveformCachePath;
    QString m_thumbnailCachePath;
    bool m_dataIsLoaded = false;
};
