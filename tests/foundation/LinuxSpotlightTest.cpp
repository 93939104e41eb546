#include "FileOpsFixture.h"
#include "Programs.h"
#include "foundation/platform/linux/LinuxPlatform.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <algorithm>

namespace {

using Query = Platform::SpotlightQuery;

QStringList sorted(QStringList list) {
    std::sort(list.begin(), list.end());
    return list;
}

} // namespace

class LinuxSpotlight : public FileOpsTest {
protected:
    void SetUp() override {
        FileOpsTest::SetUp();
        m_disk = home().makeFolder("disk");
        for (const char* folder : {"a/Autosave Vault", "b/autosave vault", "d/Old Autosave Vault",
                                   "x/My Library.fcpbundle", "y/Archive.FCPBUNDLE", "w/Vault [old]*", "e"})
            QDir().mkpath(disk(folder));
        home().writeFile("disk/c/Autosave Vault", "a file, not a folder");
        home().writeFile("disk/x/notes.fcpbundle.txt");
        home().writeFile("disk/z/loose.fcpbundle");
        QFile::link(disk("a/Autosave Vault"), disk("e/Autosave Vault"));
        platform().setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
        platform().setToolPath(Tool::Locate, home().root() + "/missing/locate");
    }
    FakePlatform& platform() { return home().platform(); }
    QString disk(const QString& relative) const { return m_disk + '/' + relative; }
    static QByteArray printing(const QStringList& paths) {
        return "printf '%s\\0' '" + paths.join("' '").toUtf8() + "'\n";
    }

    QString m_disk;
};

TEST_F(LinuxSpotlight, FindsFoldersInARealIndex) {
    const QString database = locateIndexOf(m_disk, home().root() + "/index.db");
    if (database.isEmpty())
        GTEST_SKIP() << "plocate is not installed";
    platform().locateDatabasePath = database;
    platform().setToolPath(Tool::Plocate, "/usr/bin/plocate");

    EXPECT_TRUE(platform().spotlightAvailable());
    EXPECT_EQ(sorted(platform().spotlightQuery(Query::folderNamed("Autosave Vault"), 10)),
              (QStringList{disk("a/Autosave Vault"), disk("b/autosave vault")}));
    EXPECT_EQ(sorted(platform().spotlightQuery(
                  Query::pathsEndingWith("\"Final Cut Pro Library\"", ".fcpbundle"), 10)),
              (QStringList{disk("x/My Library.fcpbundle"), disk("y/Archive.FCPBUNDLE")}));
    EXPECT_EQ(platform().spotlightQuery(Query::folderNamed("Vault [old]*"), 10),
              QStringList{disk("w/Vault [old]*")});
}

TEST_F(LinuxSpotlight, IsAbsentWithoutEitherToolKeepsOnlyFoldersThatStillExistAndGivesUpOnAToolThatHangs) {
    EXPECT_FALSE(platform().spotlightAvailable());
    EXPECT_TRUE(platform().spotlightQuery(Query::folderNamed("Autosave Vault"), 10).isEmpty());
    // What the real index finds shows the other forms; this one escapes every pattern character.
    EXPECT_EQ(LinuxPlatform::locateArguments(Query::folderNamed("a*b?[c]\\"), ""),
              (QStringList{"-i", "-0", "-b", "--", "*a\\*b\\?\\[c\\]\\\\*"}));

    // The real index shows the other filters: files, links and longer names are dropped too.
    const RecordingTool locate =
        fakeTool(Tool::Locate, printing({disk("gone/Autosave Vault"), disk("a/Autosave Vault")}));
    platform().locateDatabasePath.clear(); // the tool's own index
    EXPECT_TRUE(platform().spotlightAvailable()) << "locate stands in for plocate";
    EXPECT_EQ(platform().spotlightQuery(Query::folderNamed("Autosave Vault"), 10),
              QStringList{disk("a/Autosave Vault")});
    EXPECT_EQ(locate.calls(), (QList<QStringList>{{"-i", "-0", "-b", "--", "*Autosave Vault*"}}));

    // With nothing on standard output the runner hands back standard error: a complaint, no result.
    platform().setToolPath(Tool::Locate, home().root() + "/missing/locate");
    fakeTool(Tool::Plocate, "echo \"" + disk("a/Autosave Vault").toUtf8() + "\" >&2; exit 1");
    EXPECT_TRUE(platform().spotlightQuery(Query::folderNamed("Autosave Vault"), 10).isEmpty());
    fakeTool(Tool::Plocate, "exec sleep 30");
    QElapsedTimer timer;
    timer.start();
    EXPECT_TRUE(platform().spotlightQuery(Query::folderNamed("Autosave Vault"), 1).isEmpty());
    EXPECT_LT(timer.elapsed(), 20000);
}

TEST_F(LinuxSpotlight, TheNativePlatformReadsTheIndexTheEnvironmentNames) {
    LinuxPlatform native;
    native.setToolPath(Tool::Plocate, home().root() + "/missing/plocate");
    const RecordingTool locate = fakeTool(Tool::Locate, printing({disk("a/Autosave Vault")}));
    native.setToolPath(Tool::Locate, locate.path());
    const QByteArray saved = qgetenv(LinuxPlatform::locateDatabaseVariable);
    qputenv(LinuxPlatform::locateDatabaseVariable, "/var/tmp/elsewhere.db");
    const QStringList found = native.spotlightQuery(Query::folderNamed("Autosave Vault"), 10);
    qunsetenv(LinuxPlatform::locateDatabaseVariable);
    native.spotlightQuery(Query::folderNamed("Autosave Vault"), 10);
    if (!saved.isNull())
        qputenv(LinuxPlatform::locateDatabaseVariable, saved);
    EXPECT_EQ(found, QStringList{disk("a/Autosave Vault")});
    ASSERT_EQ(locate.calls().size(), 2);
    EXPECT_EQ(locate.calls()[0].mid(0, 2), (QStringList{"-d", "/var/tmp/elsewhere.db"}));
    EXPECT_EQ(locate.calls()[1].value(0), "-i");
}
