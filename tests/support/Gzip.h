#pragma once

#include <QByteArray>

// The bytes as a gzip file holds them, made with zlib as the editors' own files are.
QByteArray gzipCompressed(const QByteArray& bytes);
