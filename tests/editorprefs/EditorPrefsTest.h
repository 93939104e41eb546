#pragma once

#include "support/TempHome.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

// A temporary home with a fresh log, and the files the editors leave behind built for real.
class EditorPrefsTest : public TempHomeTest {
protected:
    void SetUp() override;

    // Everything logged so far.
    QString logText() const;
    QString documents() const;
    QString appSupport() const;
    QString preferences() const;

    // A property list in the binary form the editors write.
    static QByteArray binaryPlist(const QVariant& value);
    // An application folder with "Contents/Info.plist" holding the information.
    QString makeApplication(const QString& path, const QVariantMap& info, bool binary = false);
    static QString writeFile(const QString& path, const QByteArray& contents);
};
