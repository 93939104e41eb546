#include "editorprefs/EditorPrefsTest.h"

#include "foundation/BMLocalPaths.h"
#include "foundation/BMLog.h"
#include "foundation/PlistFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <plist/plist.h>

void EditorPrefsTest::SetUp() {
    TempHomeTest::SetUp();
    BMLog::createNewLog();
}

QString EditorPrefsTest::logText() const {
    BMLog::finishWriting();
    QFile file(BMLog::currentLogPath());
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

QString EditorPrefsTest::documents() const {
    return BMLocalPaths::documentDirectory(true);
}

QString EditorPrefsTest::appSupport() const {
    return BMLocalPaths::appSupportDirectory(true);
}

QString EditorPrefsTest::preferences() const {
    return BMLocalPaths::prefsDirectory(true);
}

QByteArray EditorPrefsTest::binaryPlist(const QVariant& value) {
    const QByteArray xml = PlistFile::toXml(value);
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    QByteArray binary(bytes, qsizetype(length));
    plist_to_bin_free(bytes);
    plist_free(root);
    return binary;
}

QString EditorPrefsTest::makeApplication(const QString& path, const QVariantMap& info, bool binary) {
    writeFile(path + QStringLiteral("/Contents/Info.plist"),
              binary ? binaryPlist(info) : PlistFile::toXml(info));
    return path;
}

QString EditorPrefsTest::writeFile(const QString& path, const QByteArray& contents) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        ADD_FAILURE() << "could not write " << path.toStdString();
    return path;
}
