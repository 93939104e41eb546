#include "BMSettings.h"

#include "BMLocalPaths.h"
#include "Console.h"
#include "PathText.h"
#include "PlistFile.h"
#include "SettingsKeys.h"

#include <QFile>
#include <QFileInfo>

namespace {

QVariantMap loadOrSetAside(const QString& path) {
    if (path.isEmpty() || !QFileInfo::exists(path))
        return {};
    if (auto map = PlistFile::readDictionary(path))
        return *map;
    // An unreadable file would be replaced by the next write; keep the user's copy beside it.
    const QString aside = path + QStringLiteral(".unreadable");
    QFile::remove(aside);
    if (QFile::rename(path, aside))
        Console::print(
            QStringLiteral("Settings file %1 could not be read; it was kept as %2").arg(path, aside));
    return {};
}

QString prefsFile(bool userDomain, const QString& name) {
    const QString folder = BMLocalPaths::prefsDirectory(userDomain);
    return folder.isEmpty() ? QString() : PathText::appendingComponent(folder, name);
}

} // namespace

BMSettings::BMSettings(PathSource userFile, PathSource computerWideFile)
    : m_userFile(std::move(userFile)), m_computerWideFile(std::move(computerWideFile)) {
}

BMSettings& BMSettings::standard() {
    static BMSettings store([] { return prefsFile(true, standardFileName()); },
                            [] { return prefsFile(false, standardFileName()); });
    return store;
}

BMSettings& BMSettings::analytics() {
    static BMSettings store([] { return prefsFile(true, analyticsFileName()); });
    return store;
}

QVariantMap BMSettings::globalSettings() {
    return PlistFile::readDictionary(prefsFile(true, globalFileName())).value_or(QVariantMap());
}

QVariantMap BMSettings::applicationDefaults() {
    using namespace SettingsKey;
    return {
        {autoRemove, qint64(0)},
        {autoRemoveUseCriteria, qint64(0)},
        {autoRemoveUseCriteriaAge, false},
        {autoRemoveCriteriaAge, qint64(30)},
        {autoRemoveUseCriteriaSize, false},
        {autoRemoveCriteriaSize, qint64(10)},
        {autoRemoveUseCriteriaTotalCount, false},
        {autoRemoveCriteriaTotalCount, qint64(20)},
        {autoRemoveUseCriteriaTotalSize, false},
        {autoRemoveCriteriaTotalSize, qint64(50)},
        {autoClean, false},
        {autoCleanAction, qint64(0)},
        {autoCleanUseCriteriaAge, false},
        {autoCleanCriteriaAge, qint64(30)},
        {autoCleanUseCriteriaSize, false},
        {autoCleanCriteriaSize, qint64(10)},
        {autoCleanUseCriteriaTotalSize, false},
        {autoCleanCriteriaTotalSize, qint64(50)},
        {requireAdminPassword, qint64(0)},
    };
}

QString BMSettings::userFilePath() const {
    return m_userFile ? m_userFile() : QString();
}

QString BMSettings::computerWideFilePath() const {
    return m_computerWideFile ? m_computerWideFile() : QString();
}

void BMSettings::ensureLoaded() const {
    const QString userPath = userFilePath();
    const QString widePath = computerWideFilePath();
    if (m_loaded && userPath == m_loadedUserPath && widePath == m_loadedComputerWidePath)
        return;
    m_user = loadOrSetAside(userPath);
    m_computerWide =
        widePath.isEmpty() ? QVariantMap() : PlistFile::readDictionary(widePath).value_or(QVariantMap());
    m_loadedUserPath = userPath;
    m_loadedComputerWidePath = widePath;
    m_loaded = true;
}

void BMSettings::registerDefaults(const QVariantMap& defaults) {
    std::lock_guard lock(m_mutex);
    for (auto it = defaults.cbegin(); it != defaults.cend(); ++it)
        m_defaults.insert(it.key(), it.value());
}

QVariant BMSettings::value(const QString& key) const {
    std::lock_guard lock(m_mutex);
    ensureLoaded();
    if (auto it = m_user.constFind(key); it != m_user.cend())
        return *it;
    if (auto it = m_computerWide.constFind(key); it != m_computerWide.cend())
        return *it;
    return m_defaults.value(key);
}

bool BMSettings::hasValue(const QString& key) const {
    return value(key).isValid();
}

bool BMSettings::boolValue(const QString& key) const {
    const QVariant v = value(key);
    if (v.typeId() == QMetaType::QString) {
        const QString text = v.toString().trimmed();
        if (text.compare(QLatin1String("yes"), Qt::CaseInsensitive) == 0 ||
            text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0)
            return true;
        return text.toLongLong() != 0;
    }
    return v.isValid() && v.toDouble() != 0.0;
}

qint64 BMSettings::integerValue(const QString& key) const {
    const QVariant v = value(key);
    if (v.typeId() == QMetaType::QString)
        return qint64(v.toString().trimmed().toDouble());
    return v.isValid() ? qint64(v.toDouble()) : 0;
}

QString BMSettings::stringValue(const QString& key) const {
    const QVariant v = value(key);
    switch (v.typeId()) {
    case QMetaType::QString:
        return v.toString();
    case QMetaType::Bool:
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::Double:
        return v.toString();
    default:
        return QString();
    }
}

QStringList BMSettings::stringListValue(const QString& key) const {
    const QVariant v = value(key);
    if (v.typeId() != QMetaType::QVariantList && v.typeId() != QMetaType::QStringList)
        return {};
    QStringList list;
    for (const QVariant& item : v.toList()) {
        if (item.typeId() != QMetaType::QString)
            return {};
        list << item.toString();
    }
    return list;
}

bool BMSettings::writeUserFile() {
    const QString path = userFilePath();
    if (path.isEmpty())
        return false;
    m_dirty = !PlistFile::writeXml(path, m_user);
    return !m_dirty;
}

bool BMSettings::setValue(const QString& key, const QVariant& value) {
    std::lock_guard lock(m_mutex);
    ensureLoaded();
    QVariant stored = value;
    if (value.typeId() == QMetaType::QStringList)
        stored = QVariant(QVariantList(value.toStringList().cbegin(), value.toStringList().cend()));
    else if (value.typeId() == QMetaType::Int)
        stored = QVariant(qint64(value.toInt()));
    m_user.insert(key, stored);
    return writeUserFile();
}

bool BMSettings::removeValue(const QString& key) {
    std::lock_guard lock(m_mutex);
    ensureLoaded();
    if (m_user.remove(key) == 0)
        return true;
    return writeUserFile();
}

bool BMSettings::synchronize() {
    std::lock_guard lock(m_mutex);
    ensureLoaded();
    // Changes that could not be written stay in memory rather than being replaced by the
    // older copy on disk.
    if (m_dirty && !writeUserFile())
        return false;
    m_loaded = false;
    ensureLoaded();
    return true;
}

bool BMSettings::setComputerWideValue(const QString& key, const QVariant& value) {
    std::lock_guard lock(m_mutex);
    const QString path = computerWideFilePath();
    if (path.isEmpty())
        return false;
    ensureLoaded();
    QVariantMap wide = PlistFile::readDictionary(path).value_or(QVariantMap());
    wide.insert(key, value.typeId() == QMetaType::Int ? QVariant(qint64(value.toInt())) : value);
    if (!PlistFile::writeXml(path, wide))
        return false;
    m_computerWide = wide;
    return true;
}
