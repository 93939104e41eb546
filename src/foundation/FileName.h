#pragma once

#include <QByteArray>
#include <QString>

// File names as the kernel stores them are bytes; most are UTF-8, some are not (a name
// written by an old Mac tool in MacRoman, a Windows share in Latin-1). QFile::decodeName
// turns every invalid byte into U+FFFD, so a file with such a name could be listed but
// never found again. Here an invalid byte 0xNN becomes the lone surrogate U+DCNN, which
// no valid UTF-8 decodes to, and encoding gives the original bytes back exactly.
namespace FileName {

QString decode(const char* bytes, qsizetype size);
QString decode(const char* bytes);
QString decode(const QByteArray& bytes);
QByteArray encode(const QString& name);

// True when the name holds bytes that are not valid UTF-8.
bool hasInvalidBytes(const QString& name);
// The name for people and logs: escaped bytes as "\xNN", control characters (a newline,
// a tab) as "\n", "\t" or "\xNN", everything else unchanged.
QString displayText(const QString& name);
// How many columns of a terminal the text takes: a combining accent (a name from a Mac,
// decomposed) none, a wide East Asian character or an emoji two, everything else one.
qsizetype displayColumns(const QString& text);
// Why the settings file cannot keep the path, naming it; null when it can. The file holds
// text: bytes that are not UTF-8 would come back as "?", naming a folder that is not there.
QString notStorableInSettings(const QString& path);

} // namespace FileName
