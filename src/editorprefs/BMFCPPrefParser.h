#pragma once

#include "FcsetScanner.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// Where Final Cut Pro 7 (or Final Cut Express) keeps its scratch folders, above all the
// "Autosave Vault", read from the editor's own binary preference file. The results are
// cached in a file shared with the maker's sibling product, keyed by the preference file's
// modification date, so the file is scanned again only after the editor changed it.
class BMFCPPrefParser {
public:
    enum class Edition { FinalCutPro, FinalCutExpress };

    explicit BMFCPPrefParser(Edition edition = Edition::FinalCutPro);
    static BMFCPPrefParser initWithFinalCutExpress() { return BMFCPPrefParser(Edition::FinalCutExpress); }

    bool isFCE() const { return m_isFCE; }
    bool dataIsLoaded() const { return m_dataIsLoaded; }

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

    QString autosavePath() const { return m_autosavePath; }
    QString renderPath() const { return m_renderPath; }
    QString audioRenderPath() const { return m_audioRenderPath; }
    QString scratchPath() const { return m_scratchPath; }
    QString captureScratchPath() const { return m_captureScratchPath; }
    QString audioCaptureScratchPath() const { return m_audioCaptureScratchPath; }
    QString waveformCachePath() const { return m_waveformCachePath; }
    QString thumbnailCachePath() const { return m_thumbnailCachePath; }
    void setAutosavePath(const QString& path) { m_autosavePath = path; }
    void setRenderPath(const QString& path) { m_renderPath = path; }
    void setAudioRenderPath(const QString& path) { m_audioRenderPath = path; }
    void setScratchPath(const QString& path) { m_scratchPath = path; }
    void setCaptureScratchPath(const QString& path) { m_captureScratchPath = path; }
    void setAudioCaptureScratchPath(const QString& path) { m_audioCaptureScratchPath = path; }
    void setWaveformCachePath(const QString& path) { m_waveformCachePath = path; }
    void setThumbnailCachePath(const QString& path) { m_thumbnailCachePath = path; }

    // Reading stops here: a preference file is a few hundred kilobytes, and a huge or
    // growing file must not keep the reader busy for long.
    static constexpr qint64 maximumFileSize = qint64(256) << 20;

private:
    static QString BMFCPPrefParser::*memberForCacheKey(const char* cacheKey);
    QString versionFromInfo(const QString& bundlePath);
    // The preference file's modification date in whole seconds, as the cache stores it.
    std::optional<QDateTime> preferenceFileDate();
    QVariantMap cacheEntry(const QDateTime& date) const;

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
