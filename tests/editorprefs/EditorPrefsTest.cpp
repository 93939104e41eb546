#include "editorprefs/EditorPrefsTest.h"

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
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QString EditorPrefsTest::makeApplication(const QString& path, const QVariantMap& info, bool binary) {
    QByteArray xml = PlistFile::toXml(info);
    if (binary) {
        plist_t root = nullptr;
        plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
        char* bytes = nullptr;
        uint32_t length = 0;
        plist_to_bin(root, &bytes, &length);
        xml = QByteArray(bytes, qsizetype(length));
        plist_to_bin_free(bytes);
        plist_free(root);
    }
    writeFile(path + QStringLiteral("/Contents/Info.plist"), xml);
    return path;
}

QString EditorPrefsTest::writeFile(const QString& path, const QByteArray& contents) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        ADD_FAILURE() << "could not write " << path.toStdString();
    return path;
}
