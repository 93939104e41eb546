#include "ArchiveManifest.h"

#include "catalogue/BMAutoItem.h"
#include "foundation/BMDigest.h"
#include "foundation/FileName.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSet>

#include <sys/stat.h>

namespace {

qint64 msecsOf(const timespec& time) {
    return qint64(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

QJsonValue dateValue(qint64 msecs) {
    if (msecs == BMAutoItem::noDate)
        return QJsonValue::Null;
    return QDateTime::fromMSecsSinceEpoch(msecs, Qt::UTC).toString(Qt::ISODate);
}

qint64 dateOf(const QJsonValue& value) {
    if (!value.isString())
        return BMAutoItem::noDate;
    const QDateTime date = QDateTime::fromString(value.toString(), Qt::ISODate);
    return date.isValid() ? date.toMSecsSinceEpoch() : BMAutoItem::noDate;
}

bool isDigest(const QString& text) {
    static const QRegularExpression hex(QStringLiteral("^[0-9a-f]{64}$"));
    return hex.match(text).hasMatch();
}

} // namespace

void ArchiveManifest::fileStarted(const QByteArray& source, const struct stat& status) {
    m_file = File{};
    m_file.entry = m_autosaves.last().entry + FileName::decode(source.mid(m_root.size()));
    m_file.modifiedMsecs = msecsOf(status.st_mtim);
    m_digest.emplace(BMDigestContext::Algorithm::SHA256);
}

void ArchiveManifest::fileData(const char* data, size_t size) {
    m_digest->update(data, size);
    m_file.size += qint64(size);
}

void ArchiveManifest::fileFinished() {
    m_file.sha256 = m_digest->hexDigest();
    Autosave& autosave = m_autosaves.last();
    autosave.size += m_file.size;
    if (!autosave.bundle)
        autosave.modifiedMsecs = m_file.modifiedMsecs;
    autosave.files << m_file;
}

void ArchiveManifest::beginAutosave(const QString& path, const QString& entry, qint64 createdMsecs) {
    Autosave autosave;
    autosave.path = path;
    autosave.entry = entry;
    autosave.createdMsecs = createdMsecs;
    struct stat status {};
    if (::lstat(FileName::encode(path).constData(), &status) == 0) {
        autosave.bundle = S_ISDIR(status.st_mode);
        autosave.modifiedMsecs = msecsOf(status.st_mtim);
    }
    m_autosaves << autosave;
    m_root = FileName::encode(path);
}

FileTree::ContentObserver* ArchiveManifest::observer() {
    return this;
}

QByteArray ArchiveManifest::toJson() const {
    QJsonArray autosaves;
    for (const Autosave& autosave : m_autosaves) {
        QJsonObject object{{QStringLiteral("path"), autosave.path},
                           {QStringLiteral("entry"), autosave.entry},
                           {QStringLiteral("size"), autosave.size},
                           {QStringLiteral("createdDate"), dateValue(autosave.createdMsecs)},
                           {QStringLiteral("modifiedDate"), dateValue(autosave.modifiedMsecs)}};
        if (!autosave.bundle && autosave.files.size() == 1) {
            object.insert(QStringLiteral("sha256"), autosave.files.first().sha256);
        } else {
            QJsonArray files;
            for (const File& file : autosave.files) {
                files.append(QJsonObject{{QStringLiteral("entry"), file.entry},
                                         {QStringLiteral("size"), file.size},
                                         {QStringLiteral("modifiedDate"), dateValue(file.modifiedMsecs)},
                                         {QStringLiteral("sha256"), file.sha256}});
            }
            object.insert(QStringLiteral("files"), files);
        }
        autosaves.append(object);
    }
    return QJsonDocument(
               QJsonObject{{QStringLiteral("autosaves"), autosaves}, {QStringLiteral("version"), 1}})
        .toJson(QJsonDocument::Indented);
}

std::optional<ArchiveManifest> ArchiveManifest::fromJson(const QByteArray& json, QString* error) {
    QJsonParseError parsing{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parsing);
    const QJsonValue list = document.object().value(QStringLiteral("autosaves"));
    if (parsing.error != QJsonParseError::NoError || !list.isArray()) {
        *error = parsing.error != QJsonParseError::NoError
                     ? QStringLiteral("%1 is not valid JSON: %2").arg(fileName(), parsing.errorString())
                     : QStringLiteral("%1 lists no autosaves").arg(fileName());
        return std::nullopt;
    }
    ArchiveManifest manifest;
    auto fileOf = [&](const QJsonObject& object, File* file) {
        file->entry = object.value(QStringLiteral("entry")).toString();
        file->size = object.value(QStringLiteral("size")).toInteger(-1);
        file->sha256 = object.value(QStringLiteral("sha256")).toString();
        file->modifiedMsecs = dateOf(object.value(QStringLiteral("modifiedDate")));
        if (file->entry.isEmpty() || file->size < 0 || !isDigest(file->sha256)) {
            *error = QStringLiteral("%1 has an incomplete record for \"%2\"").arg(fileName(), file->entry);
            return false;
        }
        return true;
    };
    for (const QJsonValue& value : list.toArray()) {
        const QJsonObject object = value.toObject();
        Autosave autosave;
        autosave.path = object.value(QStringLiteral("path")).toString();
        autosave.entry = object.value(QStringLiteral("entry")).toString();
        autosave.size = object.value(QStringLiteral("size")).toInteger(-1);
        autosave.createdMsecs = dateOf(object.value(QStringLiteral("createdDate")));
        autosave.modifiedMsecs = dateOf(object.value(QStringLiteral("modifiedDate")));
        autosave.bundle = object.contains(QStringLiteral("files"));
        if (autosave.bundle) {
            for (const QJsonValue& file : object.value(QStringLiteral("files")).toArray()) {
                autosave.files << File{};
                if (!fileOf(file.toObject(), &autosave.files.last()))
                    return std::nullopt;
            }
        } else {
            autosave.files << File{};
            if (!fileOf(object, &autosave.files.last()))
                return std::nullopt;
        }
        manifest.m_autosaves << autosave;
    }
    return manifest;
}

QStringList ArchiveManifest::differencesFrom(const QMap<QString, BMFileManager::ZipEntry>& entries) const {
    QMap<QString, File> expected;
    for (const Autosave& autosave : m_autosaves) {
        for (const File& file : autosave.files)
            expected.insert(file.entry, file);
    }
    QMap<QString, QString> differences; // in entry order
    for (const File& file : expected) {
        const auto found = entries.constFind(file.entry);
        if (found == entries.cend() || !found->isFile)
            differences.insert(file.entry, QStringLiteral("%1: missing from the archive").arg(file.entry));
        else if (found->size != file.size)
            differences.insert(file.entry, QStringLiteral("%1: %2 bytes, the manifest says %3")
                                               .arg(file.entry)
                                               .arg(found->size)
                                               .arg(file.size));
        else if (found->sha256 != file.sha256)
            differences.insert(
                file.entry,
                QStringLiteral("%1: its contents differ from the manifest (SHA-256)").arg(file.entry));
    }
    for (auto it = entries.cbegin(); it != entries.cend(); ++it) {
        if (it->isFile && it.key() != fileName() && !expected.contains(it.key()))
            differences.insert(it.key(), QStringLiteral("%1: not in the manifest").arg(it.key()));
    }
    return differences.values();
}

ArchiveManifest::Verification ArchiveManifest::verify(const QString& archive) {
    Verification result;
    QByteArray json;
    QString error;
    const std::optional<QMap<QString, BMFileManager::ZipEntry>> entries =
        BMFileManager::zipEntries(archive, fileName(), &json, &error);
    if (!entries) {
        result.error = QStringLiteral("%1 cannot be read: %2").arg(archive, error);
        return result;
    }
    if (!entries->contains(fileName())) {
        result.error = QStringLiteral("%1 has no %2").arg(archive, fileName());
        return result;
    }
    const std::optional<ArchiveManifest> manifest = fromJson(json, &error);
    if (!manifest) {
        result.error = QStringLiteral("%1: %2").arg(archive, error);
        return result;
    }
    for (const Autosave& autosave : manifest->autosaves())
        result.files += int(autosave.files.size());
    result.differences = manifest->differencesFrom(*entries);
    return result;
}
