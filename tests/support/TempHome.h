#pragma once

#include "FakePlatform.h"
#include "QtPrinters.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QTemporaryDir>

#include <gtest/gtest.h>
#include <memory>

// A fresh home for each test: HOME and the XDG folders point into a temporary folder, and
// the fake platform answers for the user. Nothing a test does reaches the real home.
class TempHome {
public:
    TempHome();
    ~TempHome();
    TempHome(const TempHome&) = delete;
    TempHome& operator=(const TempHome&) = delete;

    QString root() const { return m_dir.path(); }
    QString home() const { return m_home; }
    QString machineRoot() const { return m_dir.path() + QStringLiteral("/machine"); }
    FakePlatform& platform() { return *m_platform; }

    // A path under the temporary folder, its parent folders created.
    QString makeFolder(const QString& relative) const;
    // A file under the temporary folder, by its path there or its full path.
    QString writeFile(const QString& relative, const QByteArray& contents = QByteArray()) const;
    // A file under the home; without contents it holds its own relative path, which tells
    // files apart after moves and restores.
    QString writeHomeFile(const QString& relative, const QByteArray& contents = QByteArray()) const;

private:
    QTemporaryDir m_dir;
    QString m_home;
    FakePlatform* m_platform = nullptr;
    std::unique_ptr<Platform> m_previousPlatform;
    QMap<QByteArray, QByteArray> m_savedEnvironment;
};

// The whole file, or nothing when it cannot be read.
QByteArray readFile(const QString& path);
// The application log as written so far: waits for the writer first.
QString logText();
// Root working for another user at the console: the programs run as subprocesses then keep
// their settings in that user's home, not in the temporary one, so those tests skip.
bool actingForAnotherConsoleUser();

class TempHomeTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    TempHome& home() { return *m_home; }
    const TempHome& home() const { return *m_home; }

private:
    std::unique_ptr<TempHome> m_home;
};
