// vestry discover as a user meets it: the built program in a subprocess, its home in the
// test's temporary folder and the file name index built over the test's own "disk".
#include "foundation/PlistFile.h"
#include "foundation/platform/linux/LinuxPlatform.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <gtest/gtest.h>

class DiscoverCommandTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        LinuxPlatform real;
        if (real.userId() == 0 && real.consoleUser() != real.userName())
            GTEST_SKIP() << "running as root for another console user";
        if (!QFileInfo(QStringLiteral("/usr/bin/updatedb")).isExecutable() ||
            !QFileInfo(QStringLiteral("/usr/bin/plocate")).isExecutable())
            GTEST_SKIP() << "plocate is not installed (the stand-in tool is tested in the catalogue tests)";
        disk = home().root() + "/disk";
        index = home().root() + "/index.db";
    }
    QString autosave(const QString& path) const {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("autosave");
        return path;
    }
    void buildIndex() const {
        QProcess updatedb;
        updatedb.start("/usr/bin/updatedb", {"-U", disk, "-o", index, "--prunepaths", "", "--prunefs", "",
                                             "--prunenames", "", "-l", "0"});
        ASSERT_TRUE(updatedb.waitForFinished(60000));
        ASSERT_EQ(updatedb.exitCode(), 0) << updatedb.readAllStandardError().toStdString();
    }
    QString run(const QStringList& arguments) const {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        environment.insert(LinuxPlatform::locateDatabaseVariable, index);
        process.setProcessEnvironment(environment);
        process.start(VESTRY_PROGRAM, QStringList{"discover"} + arguments);
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            ADD_FAILURE() << "vestry discover did not finish";
        }
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
        return QString::fromUtf8(process.readAllStandardOutput());
    }

    QString disk;
    QString index;
};

TEST_F(DiscoverCommandTest, StoresTheVaultTheIndexKnowsAndMarksItNewOnce) {
    const QString known = disk + "/Known/Adobe Premiere Pro Auto-Save";
    autosave(known + "/Cut-1.prproj");
    const QString vault = disk + "/Media \"Q\"/Autosave Vault";
    autosave(vault + "/Titles/Titles_2026-11-20_1030.motn");
    QDir().mkpath(disk + "/Empty/Autosave Vault");
    PlistFile::writeXml(home().home() + "/.config/com.brightmoor.Vestry.plist",
                        QVariantMap{{"autosavePaths", QStringList{known}}});
    buildIndex();

    EXPECT_EQ(run({"--json"}), "{\"locations\":[{\"path\":\"" + known + "\",\"new\":false},{\"path\":\"" +
                                   QString(vault).replace("\"", "\\\"") + "\",\"new\":true}]}\n");
    EXPECT_EQ(PlistFile::readDictionary(home().home() + "/.config/com.brightmoor.Vestry.plist")
                  ->value("autosavePaths")
                  .toStringList(),
              (QStringList{known, vault}));
    EXPECT_EQ(run({}), "     " + known + "\n     " + vault + "\n2 locations, 0 new\n");
}
