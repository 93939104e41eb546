#include "BMFCPPrefParser.h"

#include "InputFile.h"
#include "SharedCacheFile.h"
#include "foundation/BMException.h"
#include "foundation/BMFileManager.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/Console.h"
#include "foundation/PathText.h"
#include "foundation/platform/Platform.h"

namespace {

QString productName(bool isFCE) {
    return isFCE ? QStringLiteral("Express") : QStringLiteral("Pro");
}

qint64 wholeSeconds(const QDateTime& date) {
    const qint64 ms = date.toMSecsSinceEpoch();
    return ms >= 0 ? ms / 1000 : -((-ms + 999) / 1000);
}

QString trimmedOfNul(const QString& text) {
    qsizetype first = 0;
    qsizetype last = text.size();
    while (first < last && text[first].unicode() == 0)
        ++first;
    while (last > first && text[last - 1].unicode() == 0)
        --last;
    return text.mid(first, last - first);
}

QString under(const QString& base, const char* folder) {
    if (base.isEmpty())
        return QString();
    return PathText::appendingComponent(base, QString::fromLatin1(folder));
}

QString beside(const QString& sibling, const char* folder) {
    if (sibling.isEmpty())
        return QString();
    return under(PathText::deletingLastComponent(sibling), folder);
}

QString firstOf(const QString& a, const QString& b) {
    return a.isEmpty() ? b : a;
}

} // namespace

BMFCPPrefParser::BMFCPPrefParser(Edition edition) : m_isFCE(edition == Edition::FinalCutExpress) {
}

BMFCPPrefParser::BMFCPPrefParser(const BMFCPPrefParser& other) {
    *this = other;
}

BMFCPPrefParser& BMFCPPrefParser::operator=(const BMFCPPrefParser& other) {
    if (this == &other)
        return *this;
    std::scoped_lock lock(m_mutex, other.m_mutex);
    m_isFCE = other.m_isFCE;
    m_preferenceFilePath = other.m_preferenceFilePath;
    m_autosavePath = other.m_autosavePath;
    m_renderPath = other.m_renderPath;
    m_audioRenderPath = other.m_audioRenderPath;
    m_scratchPath = other.m_scratchPath;
    m_captureScratchPath = other.m_captureScratchPath;
    m_audioCaptureScratchPath = other.m_audioCaptureScratchPath;
    m_waveformCachePath = other.m_waveformCachePath;
    m_thumbnailCachePath = other.m_thumbnailCachePath;
    m_dataIsLoaded = other.m_dataIsLoaded;
    return *this;
}

QString BMFCPPrefParser::value(QString BMFCPPrefParser::*member) const {
    std::lock_guard lock(m_mutex);
    return this->*member;
}

void BMFCPPrefParser::setValue(QString BMFCPPrefParser::*member, const QString& path) {
    std::lock_guard lock(m_mutex);
    this->*member = path;
}

bool BMFCPPrefParser::dataIsLoaded() const {
    std::lock_guard lock(m_mutex);
    return m_dataIsLoaded;
}

QString BMFCPPrefParser::editorName() const {
    return m_isFCE ? QStringLiteral("Final Cut Express") : QStringLiteral("Final Cut Pro");
}

QString BMFCPPrefParser::cacheFilePath() {
    const QString caches = BMLocalPaths::cacheDirectory(true);
    if (caches.isEmpty())
        return QString();
    return PathText::appendingComponent(caches, QStringLiteral("com.brightmoor.Wayfind.cache.plist"));
}

QString BMFCPPrefParser::fcpBundlePath() const {
    const QString applications = BMLocalPaths::applicationDirectory(false);
    if (!applications.isEmpty()) {
        const QStringList names = m_isFCE ? QStringList{QStringLiteral("Final Cut Express.app")}
                                          : QStringList{QStringLiteral("Final Cut Studio/Final Cut Pro.app"),
                                                        QStringLiteral("Final Cut Pro.app")};
        for (const QString& name : names) {
            const QString path = PathText::appendingComponent(applications, name);
            if (BMFileManager::fileExistsAtPath(path))
                return path;
        }
    }
    return Platform::current().applicationPathForBundleIdentifier(
        m_isFCE ? QStringLiteral("com.apple.FinalCutExpress") : QStringLiteral("com.apple.FinalCutPro"));
}

QString BMFCPPrefParser::versionFromInfo(const QString& bundlePath) {
    const std::optional<QVariantMap> info = Platform::current().applicationInfo(bundlePath);
    if (!info) {
        Console::print(QStringLiteral("Unable to find Final Cut %1 info plist.").arg(productName(m_isFCE)));
        return QString();
    }
    const QString version = info->value(QStringLiteral("CFBundleShortVersionString")).toString();
    if (version.isEmpty()) {
        Console::print(
            QStringLiteral("Unable to locate Final Cut %1 version number.").arg(productName(m_isFCE)));
        return QString();
    }
    // Only the first character counts, so 7.0.3 is 7.0, and a 10.1 would be 1.0.
    return QStringLiteral("%1.0").arg(version.left(1));
}

QString BMFCPPrefParser::preferenceFilePath() {
    std::lock_guard lock(m_mutex);
    if (!m_preferenceFilePath.isEmpty())
        return m_preferenceFilePath;
    const QString bundle = fcpBundlePath();
    const QString version = bundle.isEmpty() ? QString() : versionFromInfo(bundle);
    const QString preferences = BMLocalPaths::prefsDirectory(true);
    if (version.isEmpty() || preferences.isEmpty()) {
        setNil();
        return QString();
    }
    const QString relative =
        m_isFCE ? QStringLiteral("Final Cut Express User Data/Final Cut Express %1 Prefs.fcset")
                : QStringLiteral("Final Cut Pro User Data/Final Cut Pro %1 Prefs.fcset");
    m_preferenceFilePath = PathText::appendingComponent(preferences, relative.arg(version));
    return m_preferenceFilePath;
}

QString BMFCPPrefParser::defaultRootFolder() const {
    const QString documents = BMLocalPaths::documentDirectory(true);
    if (documents.isEmpty())
        return QString();
    return PathText::appendingComponent(documents, m_isFCE ? QStringLiteral("Final Cut Express Documents")
                                                           : QStringLiteral("Final Cut Pro Documents"));
}

QString BMFCPPrefParser::bootVolumeName() {
    return Platform::current().bootVolumeName();
}

QString BMFCPPrefParser::formatPath(const QString& path) {
    QString text = trimmedOfNul(path);
    // A Pascal length prefix that came along with the path.
    if (!text.isEmpty() && (text[0].unicode() == text.size() - 1 || text[0].unicode() == 0))
        text.remove(0, 1);
    QStringList parts = text.split(QLatin1Char(':'));
    for (QString& part : parts)
        part = trimmedOfNul(part);
    if (parts.first() == bootVolumeName())
        parts.removeFirst();
    else
        parts.prepend(QStringLiteral("Volumes"));
    return QLatin1Char('/') + parts.join(QLatin1Char('/'));
}

QString BMFCPPrefParser::*BMFCPPrefParser::memberForCacheKey(const char* cacheKey) {
    const QLatin1String key(cacheKey);
    if (key == QLatin1String("audioRender"))
        return &BMFCPPrefParser::m_audioRenderPath;
    if (key == QLatin1String("render"))
        return &BMFCPPrefParser::m_renderPath;
    if (key == QLatin1String("audioCapture"))
        return &BMFCPPrefParser::m_audioCaptureScratchPath;
    if (key == QLatin1String("capture"))
        return &BMFCPPrefParser::m_captureScratchPath;
    if (key == QLatin1String("scratch"))
        return &BMFCPPrefParser::m_scratchPath;
    if (key == QLatin1String("waveform"))
        return &BMFCPPrefParser::m_waveformCachePath;
    if (key == QLatin1String("thumbnail"))
        return &BMFCPPrefParser::m_thumbnailCachePath;
    if (key == QLatin1String("autosaveVault"))
        return &BMFCPPrefParser::m_autosavePath;
    return nullptr;
}

void BMFCPPrefParser::setPathForKey(const QString& key, const QStringList& candidates) {
    std::lock_guard lock(m_mutex);
    const QString name = FcsetScanner::normalizedKeyName(key);
    const FcsetScanner::Key* entry = nullptr;
    for (const FcsetScanner::Key& k : FcsetScanner::keys()) {
        if (name == QLatin1String(k.name))
            entry = &k;
    }
    if (!entry || !entry->cacheKey)
        return;
    for (const QString& candidate : candidates) {
        // A colon strictly inside: ":Users" and "Users:" are not paths.
        const qsizetype colon = candidate.indexOf(QLatin1Char(':'), 1);
        if (colon < 1 || colon >= candidate.size() - 1)
            continue;
        QString path = formatPath(candidate);
        if (entry->folderName && PathText::lastComponent(path) != QLatin1String(entry->folderName))
            path = PathText::appendingComponent(path, QString::fromLatin1(entry->folderName));
        this->*memberForCacheKey(entry->cacheKey) = path;
        return;
    }
}

void BMFCPPrefParser::keyFinished(const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
    if (!key.cacheKey)
        return;
    // Only a candidate with a colon can be chosen; binary noise yields many that cannot.
    QStringList paths;
    for (const QByteArrayView candidate : candidates) {
        if (candidate.contains(':'))
            paths.append(QString::fromLatin1(candidate));
    }
    setPathForKey(QString::fromLatin1(key.name), paths);
}

void BMFCPPrefParser::setNil() {
    std::lock_guard lock(m_mutex);
    m_autosavePath.clear();
    m_renderPath.clear();
    m_audioRenderPath.clear();
    m_scratchPath.clear();
    m_captureScratchPath.clear();
    m_audioCaptureScratchPath.clear();
    m_waveformCachePath.clear();
    m_thumbnailCachePath.clear();
}

void BMFCPPrefParser::setupDefaults() {
    std::lock_guard lock(m_mutex);
    if (m_scratchPath.isEmpty()) {
        if (!m_captureScratchPath.isEmpty())
            m_scratchPath = PathText::deletingLastComponent(m_captureScratchPath);
        else if (!m_audioCaptureScratchPath.isEmpty())
            m_scratchPath = PathText::deletingLastComponent(m_audioCaptureScratchPath);
        else
            m_scratchPath = defaultRootFolder();
    }
    // Each missing folder goes beside its sibling when the file named that, else into the
    // scratch folder.
    if (m_renderPath.isEmpty())
        m_renderPath =
            firstOf(beside(m_audioRenderPath, "Render Files"), under(m_scratchPath, "Render Files"));
    if (m_audioRenderPath.isEmpty())
        m_audioRenderPath =
            firstOf(beside(m_renderPath, "Audio Render Files"), under(m_scratchPath, "Audio Render Files"));
    if (m_captureScratchPath.isEmpty())
        m_captureScratchPath = firstOf(beside(m_audioCaptureScratchPath, "Capture Scratch"),
                                       under(m_scratchPath, "Capture Scratch"));
    if (m_audioCaptureScratchPath.isEmpty())
        m_audioCaptureScratchPath = firstOf(beside(m_captureScratchPath, "Audio Capture Scratch"),
                                            under(m_scratchPath, "Audio Capture Scratch"));
    if (m_waveformCachePath.isEmpty()) {
        m_waveformCachePath = firstOf(beside(m_thumbnailCachePath, "Waveform Cache Files"),
                                      under(m_scratchPath, "Waveform Cache Files"));
        if (m_waveformCachePath.isEmpty())
            Console::print(QStringLiteral("waveform is empty"));
    }
    if (m_thumbnailCachePath.isEmpty()) {
        m_thumbnailCachePath = firstOf(beside(m_waveformCachePath, "Thumbnail Cache Files"),
                                       under(m_scratchPath, "Thumbnail Cache Files"));
        if (m_thumbnailCachePath.isEmpty())
            Console::print(QStringLiteral("thumbnail is empty"));
    }
    if (m_autosavePath.isEmpty()) {
        m_autosavePath = firstOf(beside(m_waveformCachePath, "Autosave Vault"),
                                 beside(m_thumbnailCachePath, "Autosave Vault"));
        if (m_autosavePath.isEmpty()) {
            Console::print(QStringLiteral("autosave is empty"));
            m_autosavePath = under(defaultRootFolder(), "Autosave Vault");
        }
    }
}

std::optional<QDateTime> BMFCPPrefParser::preferenceFileDate() {
    const QString path = preferenceFilePath();
    if (path.isEmpty())
        return std::nullopt;
    const std::optional<FileFacts> facts = Platform::current().fileFacts(path);
    if (!facts || facts->isDirectory)
        return std::nullopt;
    // The cache keeps dates as property lists do, in whole seconds.
    return QDateTime::fromSecsSinceEpoch(wholeSeconds(facts->modified), Qt::UTC);
}

bool BMFCPPrefParser::loadCacheData() {
    std::lock_guard lock(m_mutex);
    const std::optional<QDateTime> date = preferenceFileDate();
    const QString cachePath = cacheFilePath();
    if (!date || cachePath.isEmpty())
        return false;
    const QVariantMap entry = SharedCacheFile(cachePath).entry(editorName());
    const QVariant stored = entry.value(QStringLiteral("modDate"));
    if (stored.typeId() != QMetaType::QDateTime || wholeSeconds(stored.toDateTime()) != wholeSeconds(*date))
        return false;
    setNil();
    for (const FcsetScanner::Key& key : FcsetScanner::keys()) {
        if (!key.cacheKey)
            continue;
        const QVariant value = entry.value(QString::fromLatin1(key.cacheKey));
        if (value.typeId() == QMetaType::QString)
            this->*memberForCacheKey(key.cacheKey) = value.toString();
    }
    setupDefaults();
    m_dataIsLoaded = true;
    return true;
}

QVariantMap BMFCPPrefParser::cacheEntry(const QDateTime& date) const {
    std::lock_guard lock(m_mutex);
    QVariantMap entry;
    entry.insert(QStringLiteral("modDate"), date);
    for (const FcsetScanner::Key& key : FcsetScanner::keys()) {
        if (!key.cacheKey)
            continue;
        const QString& path = this->*memberForCacheKey(key.cacheKey);
        if (!path.isNull())
            entry.insert(QString::fromLatin1(key.cacheKey), path);
    }
    return entry;
}

bool BMFCPPrefParser::cacheData() {
    std::lock_guard lock(m_mutex);
    const std::optional<QDateTime> date = preferenceFileDate();
    const QString cachePath = cacheFilePath();
    if (!date || cachePath.isEmpty())
        return false;
    return SharedCacheFile(cachePath).replaceEntry(editorName(), cacheEntry(*date));
}

void BMFCPPrefParser::scanPreferenceText(QByteArrayView text, const std::optional<QStringList>& types) {
    std::lock_guard lock(m_mutex);
    FcsetScanner::scan(text, types,
                       [this](const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
                           keyFinished(key, candidates);
                       });
}

void BMFCPPrefParser::loadData() {
    loadDataForTypes(std::nullopt);
}

void BMFCPPrefParser::loadDataForTypes(const std::optional<QStringList>& types) {
    std::lock_guard lock(m_mutex);
    try {
        // Looked up once: a missing application is reported once.
        const QString path = preferenceFilePath();
        if (!path.isEmpty() && loadCacheData())
            return;
        setNil();
        m_dataIsLoaded = false;
        FcsetScanner scanner(types,
                             [this](const FcsetScanner::Key& key, const QList<QByteArrayView>& candidates) {
                                 keyFinished(key, candidates);
                             });
        const bool read = InputFile::readPieces(
            path, maximumFileSize, [&scanner](QByteArrayView piece) { return scanner.feed(piece); });
        if (!read) {
            setNil();
            Console::print(QStringLiteral("Unable to load Final Cut %1 preference file %2")
                               .arg(productName(m_isFCE), path));
            return;
        }
        scanner.finish();
        setupDefaults();
        cacheData();
        m_dataIsLoaded = true;
    } catch (const std::exception& e) {
        BMException::logException(e, "-[BMFCPPrefParser loadDataForTypes:]");
    }
}
