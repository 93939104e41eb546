#include "PlistFile.h"

#include "AtomicFile.h"
#include "PlistCheck.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cmath>
#include <fcntl.h>
#include <memory>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Property-list dates count seconds from 2001-01-01 UTC.
constexpr qint64 kAppleEpochOffset = 978307200;

struct PlistDeleter {
    void operator()(plist_t node) const { plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

// Nesting deeper than this is not a settings file; refusing it keeps recursion bounded.
constexpr int kMaximumDepth = 64;

std::optional<QVariant> toVariant(plist_t node, int depth) {
    if (!node || depth > kMaximumDepth)
        return std::nullopt;
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return QVariant(value != 0);
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        // This libplist keeps every integer unsigned; negative numbers come back as their
        // two's complement.
        return QVariant(qint64(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return QVariant(value);
    }
    case PLIST_STRING: {
        char* value = nullptr;
        plist_get_string_val(node, &value);
        QString text = value ? QString::fromUtf8(value) : QString(QLatin1String(""));
        free(value);
        return QVariant(text);
    }
    case PLIST_DATA: {
        char* value = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &value, &length);
        QByteArray bytes(value, qsizetype(length));
        free(value);
        return QVariant(bytes);
    }
    case PLIST_DATE: {
        int32_t seconds = 0;
        int32_t micros = 0;
        plist_get_date_val(node, &seconds, &micros);
        const qint64 ms = (qint64(seconds) + kAppleEpochOffset) * 1000 + micros / 1000;
        return QVariant(QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC));
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t size = plist_array_get_size(node);
        list.reserve(qsizetype(size));
        for (uint32_t i = 0; i < size; ++i) {
            auto item = toVariant(plist_array_get_item(node, i), depth + 1);
            if (!item)
                return std::nullopt;
            list.append(*item);
        }
        return QVariant(list);
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter iter = nullptr;
        plist_dict_new_iter(node, &iter);
        if (!iter)
            return QVariant(map);
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, iter, &key, &value);
            if (!key) {
                break;
            }
            auto item = toVariant(value, depth + 1);
            const QString name = QString::fromUtf8(key);
            free(key);
            if (!item) {
                free(iter);
                return std::nullopt;
            }
            map.insert(name, *item);
        }
        free(iter);
        return QVariant(map);
    }
    case PLIST_UID: {
        uint64_t value = 0;
        plist_get_uid_val(node, &value);
        return QVariant(qint64(value));
    }
    default:
        return std::nullopt;
    }
}

plist_t fromVariant(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool() ? 1 : 0);
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::Char:
        return plist_new_uint(uint64_t(value.toLongLong()));
    case QMetaType::ULong:
    case QMetaType::ULongLong:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
    case QMetaType::Float:
        return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), uint64_t(bytes.size()));
    }
    case QMetaType::QDateTime: {
        const qint64 ms = value.toDateTime().toMSecsSinceEpoch() - kAppleEpochOffset * 1000;
        const qint64 seconds = qint64(std::floor(double(ms) / 1000.0));
        return plist_new_date(int32_t(seconds), int32_t((ms - seconds * 1000) * 1000));
    }
    case QMetaType::QStringList:
    case QMetaType::QVariantList: {
        plist_t array = plist_new_array();
        for (const QVariant& item : value.toList())
            plist_array_append_item(array, fromVariant(item));
        return array;
    }
    case QMetaType::QVariantMap: {
        plist_t dict = plist_new_dict();
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(), fromVariant(it.value()));
        return dict;
    }
    default:
        return plist_new_string(value.toString().toUtf8().constData());
    }
}

} // namespace

std::optional<QVariant> PlistFile::parse(const QByteArray& bytes) {
    if (bytes.isEmpty() || bytes.size() > maximumSize)
        return std::nullopt;
    plist_t root = nullptr;
    // libplist trusts a file's structure, aborts on some strings and recurses without a
    // limit: it reads only what was checked first.
    if (plist_is_binary(bytes.constData(), uint32_t(bytes.size()))) {
        if (!PlistCheck::isSafeBinary(bytes))
            return std::nullopt;
        plist_from_bin(bytes.constData(), uint32_t(bytes.size()), &root);
    } else {
        if (!PlistCheck::isSafeXml(bytes))
            return std::nullopt;
        plist_from_xml(bytes.constData(), uint32_t(bytes.size()), &root);
    }
    PlistPtr owner(root);
    return toVariant(root, 0);
}

std::optional<QVariant> PlistFile::read(const QString& path) {
    if (path.isEmpty())
        return std::nullopt;
    QFile file(path);
    // Opening a named pipe to read waits for a writer, for good where none comes: only a
    // regular file is read (a resource, ":/...", has no descriptor).
    if (!path.startsWith(QLatin1Char(':'))) {
        const int fd =
            ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        struct stat info {};
        if (fd < 0)
            return std::nullopt;
        if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode) ||
            !file.open(fd, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
            ::close(fd);
            return std::nullopt;
        }
    } else if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    if (file.size() > maximumSize)
        return std::nullopt;
    return parse(file.readAll());
}

std::optional<QVariantMap> PlistFile::readDictionary(const QString& path) {
    auto value = read(path);
    if (!value || value->typeId() != QMetaType::QVariantMap)
        return std::nullopt;
    return value->toMap();
}

QByteArray PlistFile::toXml(const QVariant& value) {
    PlistPtr root(fromVariant(value));
    char* xml = nullptr;
    uint32_t length = 0;
    plist_to_xml(root.get(), &xml, &length);
    QByteArray bytes(xml, qsizetype(length));
    plist_to_xml_free(xml);
    return bytes;
}

bool PlistFile::writeXml(const QString& path, const QVariant& value, QString* error) {
    if (path.isEmpty())
        return false;
    auto fail = [error](const QString& cause) {
        if (error)
            *error = cause;
        return false;
    };
    const QString folder = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(folder))
        return fail(QStringLiteral("the folder %1 could not be created").arg(folder));
    return AtomicFile::write(path, toXml(value), error);
}
