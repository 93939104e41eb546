#pragma once

#include <QByteArray>
#include <QVariant>

// The value as libplist writes a binary property list, the form the editors often save.
QByteArray binaryPlist(const QVariant& value);
