#include "BMSettings.h"

#include "BMLocalPaths.h"
#include "BMLog.h"
#include "FileName.h"
#include "LocationLock.h"
#include "PathText.h"
#include "PlistFile.h"
#include "SettingsKeys.h"

#include <QDateTime>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <stdio.h>
#include <unistd.h>

namespace {

QString systemError(int code) {
    return QString::fromLocal8Bit(std::strerror(code));
}

// The file's bytes (at most one more than a property list may have); nothing, with the
// reason in *error, when it cannot be read.
std::optional<QByteArray> readBytes(const QString& path, int* error) {
    const int fd = ::open(FileName::encode(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *error = errno;
        return std::nullopt;
    }
    QByteArray bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0) {
            *error = errno;
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0 || bytes.size() > PlistFile::maximumSize)
            break;
        bytes.append(buffer, n);
    }
    ::close(fd);
    return bytes;
}

// Renames the file to a name of its own beside it, never over an earlier copy.
bool renameWithoutReplacing(const QByteArray& from, const QByteArray& to, int* error) {
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno == EINVAL) {
        // A file system without no-replace renames: a hard link fails where the name is taken.
        if (::link(from.constData(), to.constData()) == 0) {
            if (::unlink(from.constData()) == 0)
                return true;
            *error = errno;
            ::unlink(to.constData());
            return false;
        }
    }
    *error = errno;
    return false;
}

QString setAside(const QString& path, int* error) {
    const QString stem = path + QStringLiteral(".unreadable-") +
                         QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const QByteArray from = FileName::encode(path);
    for (int counter = 1; counter < 1000; ++counter) {
        const QString aside = counter == 1 ? stem : QStringLiteral("%1-%2").arg(stem).arg(counter);
        if (renameWithoutReplacing(from, FileName::encode(aside), error))
            return aside;
        if (*error != EEXIST)
            return QString();
    }
    return QString();
}

QString cannotReadProblem(const QString& path, int error) {
    return QStringLiteral("Settings file %1 could not be read: %2. It is left as it is, and changed settings "
                          "are not saved until it can be read.")
        .arg(path, systemError(error));
}

struct LoadedFile {
    QVariantMap values;
    // The file is there but could not be read, or was not understood and could not be moved
    // away: writing would replace it.
    bool mustKeep = false;
    // What a person is told; null when the file was read (or is absent).
    QString problem;
};

LoadedFile loadOrSetAside(const QString& path) {
    LoadedFile loaded;
    if (path.isEmpty())
        return loaded;
    int error = 0;
    const std::optional<QByteArray> bytes = readBytes(path, &error);
    if (!bytes) {
        if (error == ENOENT)
            return loaded;
        // A file this user may not read can still be a good one: it is left alone.
        loaded.mustKeep = true;
        loaded.problem = cannotReadProblem(path, error);
        return loaded;
    }
    if (std::optional<QVariant> value = PlistFile::parse(*bytes);
        value && value->typeId() == QMetaType::QVariantMap) {
        loaded.values = value->toMap();
        return loaded;
    }
    // The next write would replace what could not be parsed; keep the user's copy beside it.
    const QString aside = setAside(path, &error);
    if (!aside.isEmpty()) {
        loaded.problem = QStringLiteral("Settings file %1 is not a valid property list; it was set aside as "
                                        "%2, and Vestry starts again from the default settings.")
                             .arg(path, aside);
    } else if (error != ENOENT) {
        loaded.mustKeep = true;
        loaded.problem = QStringLiteral("Settings file %1 is not a valid property list and could not be set "
                                        "aside: %2. It is left as it is, and changed settings are not saved.")
                             .arg(path, systemError(error));
    }
    return loaded;
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
        {guardMinutes, qint64(10)},
        {previewRules, true},
        {requireAdminPassword, qint64(0)},
        {premiereGroupTimestampedCopies, true},
        {qcEndpoint, QStringLiteral("https://www.brightmoor.com/appdata/qc/qc.php")},
    };
}

QString BMSettings::userFilePath() const {
    return m_userFile ? m_userFile() : QString();
}

QString BMSettings::userFileProblem() const {
    std::lock_guard lock(m_mutex);
    ensureLoaded();
    return m_userFileProblem;
}

QString BMSettings::computerWideFilePath() const {
    return m_computerWideFile ? m_computerWideFile() : QString();
}

void BMSettings::ensureLoaded() const {
    const QString userPath = userFilePath();
    const QString widePath = computerWideFilePath();
    if (m_loaded && userPath == m_loadedUserPath && widePath == m_loadedComputerWidePath)
        return;
    LoadedFile loaded = loadOrSetAside(userPath);
    // What was known of a file that can no longer be read, and changes made since, stay in
    // memory rather than being replaced by nothing.
    if (!loaded.mustKeep || userPath != m_loadedUserPath)
        m_user = std::move(loaded.values);
    m_userFileMustBeKept = loaded.mustKeep;
    if (!loaded.problem.isEmpty() && loaded.problem != m_userFileProblem)
        BMLog::appendLogAndPrint(loaded.problem);
    m_userFileProblem = loaded.problem;
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
    int error = 0;
    if (!m_userFileMustBeKept && !readBytes(path, &error) && error != ENOENT) {
        // It turned unreadable since it was loaded: what it holds now is unknown.
        m_userFileMustBeKept = true;
        m_userFileProblem = cannotReadProblem(path, error);
        BMLog::appendLogAndPrint(m_userFileProblem);
    }
    if (m_userFileMustBeKept) {
        m_dirty = true;
        return false;
    }
    QString cause;
    m_dirty = !PlistFile::writeXml(path, m_user, &cause);
    // Told once for each new cause, not on every change that follows.
    if (m_dirty && cause != m_writeProblem) {
        BMLog::appendLogAndPrint(
            QStringLiteral("Settings file %1 could not be saved: %2. The changed settings "
                           "are kept in memory until it can be.")
                .arg(path, cause));
    }
    m_writeProblem = m_dirty ? cause : QString();
    return !m_dirty;
}

void BMSettings::reloadUnlessPending() {
    if (m_dirty)
        return ensureLoaded();
    // A file set aside at the first read is absent now: what became of it is still to be told.
    const QString problem = m_userFileProblem;
    m_loaded = false;
    ensureLoaded();
    if (m_userFileProblem.isEmpty())
        m_userFileProblem = problem;
}

bool BMSettings::setValue(const QString& key, const QVariant& value) {
    std::lock_guard lock(m_mutex);
    // The command line and the helper write the same file while a window is open: the key is
    // changed in what the file holds now, not in what this program read minutes ago, which
    // would put back what they changed. Changes still waiting to be written are kept instead.
    reloadUnlessPending();
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
    reloadUnlessPending(); // as in setValue
    if (m_user.remove(key) == 0)
        return true;
    return writeUserFile();
}

bool BMSettings::update(const QString& activity, const std::function<bool()>& change, QString* error) {
    // The lock of the file's own path: the one `vestry pin` takes.
    QString why;
    const std::optional<LocationLock> lock =
        LocationLock::acquire(userFilePath(), activity, LocationLock::configuredWait(), &why);
    if (!lock) {
        BMLog::appendLog(why);
        if (error)
            *error = why;
        return false;
    }
    synchronize();
    const bool changed = change();
    synchronize();
    return changed;
}

bool BMSettings::synchronize() {
    std::lock_guard lock(m_mutex);
    ensureLoaded();
    // Changes that could not be written stay in memory rather than being replaced by the
    // older copy on disk. A file that is being left alone is read again instead: it may have
    // become readable.
    if (m_dirty && !m_userFileMustBeKept && !writeUserFile())
        return false;
    m_loaded = false;
    ensureLoaded();
    return !m_userFileMustBeKept;
}

bool BMSettings::setComputerWideValue(const QString& key, const QVariant& value) {
    std::lock_guard lock(m_mutex);
    const QString path = computerWideFilePath();
    if (path.isEmpty())
        return false;
    ensureLoaded();
    std::optional<QVariantMap> stored = PlistFile::readDictionary(path);
    int error = 0;
    if (!stored && (readBytes(path, &error) || error != ENOENT)) {
        // Writing would replace the other settings it holds.
        BMLog::appendLogAndPrint(
            QStringLiteral(
                "Settings file %1 could not be read%2; it is left as it is and %3 was not changed.")
                .arg(path,
                     error ? QStringLiteral(": ") + systemError(error)
                           : QStringLiteral(" as a property list"),
                     key));
        return false;
    }
    QVariantMap wide = stored.value_or(QVariantMap());
    wide.insert(key, value.typeId() == QMetaType::Int ? QVariant(qint64(value.toInt())) : value);
    if (!PlistFile::writeXml(path, wide))
        return false;
    m_computerWide = wide;
    return true;
}
