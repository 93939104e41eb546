#pragma once

#include "foundation/BMLocalPaths.h"
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
    QString documents() const { return BMLocalPaths::documentDirectory(true); }
    QString appSupport() const { return BMLocalPaths::appSupportDirectory(true); }
    QString preferences() const { return BMLocalPaths::prefsDirectory(true); }

    // An application folder with "Contents/Info.plist" holding the information, in the
    // binary property list form when asked.
    QString makeApplication(const QString& path, const QVariantMap& info, bool binary = false);
    static QString writeFile(const QString& path, const QByteArray& contents);
};
