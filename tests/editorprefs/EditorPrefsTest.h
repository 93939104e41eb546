#pragma once

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/PlistFile.h"
#include "support/BinaryPlist.h"
#include "support/TempHome.h"

#include <QDir>

// A temporary home with a fresh log.
class EditorPrefsTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::createNewLog();
    }
    QString documents() const { return BMLocalPaths::documentDirectory(true); }
    QString appSupport() const { return BMLocalPaths::appSupportDirectory(true); }
    QString preferences() const { return BMLocalPaths::prefsDirectory(true); }

    QString makeApplication(const QString& path, const QVariantMap& info, bool binary = false) const {
        writeFile(path + QStringLiteral("/Contents/Info.plist"),
                  binary ? binaryPlist(info) : PlistFile::toXml(info));
        return path;
    }

    QString writeFile(const QString& path, const QByteArray& contents) const {
        return home().writeFile(path, contents);
    }
};
