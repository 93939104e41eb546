#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <ostream>

// Readable failure messages for Qt values in GoogleTest.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray& bytes, std::ostream* out) {
    *out << "QByteArray(\"" << bytes.left(200).toStdString() << (bytes.size() > 200 ? "\"...)" : "\")");
}

inline void PrintTo(const QVariant& value, std::ostream* out) {
    *out << "QVariant(" << value.typeName() << ", " << value.toString().toStdString() << ')';
}
