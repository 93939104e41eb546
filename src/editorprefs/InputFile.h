#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>
#include <optional>

// Reading the files that other programs wrote (editor preferences, projects). They may be
// truncated, binary, huge or made to do harm: only regular files are read (a device or a
// named pipe could block or never end), never past a limit, and compressed data is inflated
// only up to a limit too.
class InputFile {
public:
    // Hands successive pieces of the file to the receiver until it returns false, the file
    // ends or the limit is reached. False, with the reason, when the file cannot be read.
    static bool readPieces(const QString& path, qint64 limit,
                           const std::function<bool(QByteArrayView)>& receive, QString* error = nullptr);
    // The whole file; nothing, with the reason, when it cannot be read or is over the limit.
    static std::optional<QByteArray> readAll(const QString& path, qint64 limit, QString* error = nullptr);

    static bool isGzip(QByteArrayView data);
    // Gzip data inflated; nothing, with the reason, when it is damaged or inflates past the
    // limit.
    static std::optional<QByteArray> gunzip(QByteArrayView data, qint64 limit, QString* error = nullptr);
    // The file's contents, inflated when they are gzip data.
    static std::optional<QByteArray> readMaybeCompressed(const QString& path, qint64 limit,
                                                         QString* error = nullptr);
    // The same handed over in pieces until the receiver returns false, so that a reader
    // looking for one thing need neither hold nor inflate the rest.
    static bool readPiecesMaybeCompressed(const QString& path, qint64 limit,
                                          const std::function<bool(QByteArrayView)>& receive,
                                          QString* error = nullptr);

    static constexpr qsizetype pieceSize = 1 << 20;
};
