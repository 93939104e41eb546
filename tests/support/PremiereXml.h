#pragma once

#include <QByteArray>
#include <QString>

// A project file as Premiere writes it, cut down to the part that records the live project
// (none when recorded is null). gzipCompressed() makes an autosave of it as Premiere saves one.
QByteArray premiereProjectXml(const QString& recorded);
