#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Property lists, XML or binary, to and from Qt values: dictionaries are QVariantMap,
// arrays QVariantList, strings QString, integers qint64, reals double, booleans bool, dates
// QDateTime (UTC) and data QByteArray.
class PlistFile {
public:
    // Files larger than this are refused rather than read: property lists the program
    // reads are small, and a huge one is a broken or hostile file.
    static constexpr qint64 maximumSize = 32 * 1024 * 1024;

    static std::optional<QVariant> parse(const QByteArray& bytes);
    static std::optional<QVariant> read(const QString& path);
    // Reads a file whose top level is a dictionary; anything else gives nothing.
    static std::optional<QVariantMap> readDictionary(const QString& path);
    static QByteArray toXml(const QVariant& value);
    // Replaces the file atomically (write to a temporary file, then rename); creates the
    // parent folder when missing. On failure the file is as it was and *error (when given)
    // names the cause ("No space left on device").
    static bool writeXml(const QString& path, const QVariant& value, QString* error = nullptr);
};
