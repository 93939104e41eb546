#pragma once

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/PlistFile.h"
#include "support/BinaryPlist.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

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
    static QString makeApplication(const QString& path, const QVariantMap& info, bool binary = false) {
        const QByteArray bytes = binary ? binaryPlist(info) : PlistFile::toXml(info);
        writeFile(path + QStringLiteral("/Contents/Info.plist"), bytes);
        return path;
    }
    static QString writeFile(const QString& path, const QByteArray& contents) {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
            ADD_FAILURE() << "could not write " << path.toStdString();
        return path;
    }
};
