#pragma once

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/PlistFile.h"
#include "support/BinaryPlist.h"
#include "support/TempHome.h"

#include <QDir>

// A temporary home with a fresh log, and the files the editors leave behind built for real.
class EditorPrefsTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        BMLog::createNewLog();
    }
    QString documents() const { return BMLocalPaths::documentDirectory(true); }
    QString appSupport() const { return BMLocalPaths::appSupportDirectory(true); }
    QString preferences() const { return BMLocalPaths::prefsDirectory(true); }

    // An application folder with "Contents/Info.plist", in the binary form when asked.
    QString makeApplication(const QString& path, const QVariantMap& info, bool binary = false) const {
        writeFile(path + QStringLiteral("/Contents/Info.plist"),
                  binary ? binaryPlist(info) : PlistFile::toXml(info));
        return path;
    }
    // A file anywhere in the test's temporary folder, by its full path.
    QString writeFile(const QString& path, const QByteArray& contents) const {
        return home().writeFile(path, contents);
    }
};
