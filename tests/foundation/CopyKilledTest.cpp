// A copy stopped midway (the program killed, a power cut, another run taking the name) never
// leaves part of a file under the name of the whole.
#include "TempHome.h"
#include "foundation/FileTree.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <cstdio>
#include <unistd.h>

namespace {

QStringList folderEntries(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
}

} // namespace

// The copy runs in a second process, which this test starts as itself: it says when the first
// chunk is down and waits there to be killed.
TEST_F(TempHomeTest, ACopyKilledMidwayLeavesNothingUnderTheFinalName) {
    const QString childSource = qEnvironmentVariable("VESTRY_TEST_COPY_FROM");
    if (!childSource.isEmpty()) {
        FileTree::CopyControl control;
        control.progress = [](quint64) {
            std::fputs("copying\n", stdout);
            std::fflush(stdout);
            for (;;)
                ::pause();
        };
        FileTree::copyItem(childSource, qEnvironmentVariable("VESTRY_TEST_COPY_TO"), nullptr, &control);
        return;
    }
    const QString source = home().writeFile("Shot %1 -x/Shot 1.prproj", QByteArray(8 << 20, 'p'));
    const QString folder = home().makeFolder("Copies");
    const QString destination = folder + "/Shot 1.prproj";
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("VESTRY_TEST_COPY_FROM", source);
    env.insert("VESTRY_TEST_COPY_TO", destination);
    QProcess child;
    child.setProcessEnvironment(env);
    child.start(QFileInfo("/proc/self/exe").canonicalFilePath(),
                {"--gtest_filter=TempHomeTest.ACopyKilledMidwayLeavesNothingUnderTheFinalName"});
    ASSERT_TRUE(child.waitForStarted(10000));
    QByteArray said;
    while (!said.contains("copying") && child.waitForReadyRead(20000))
        said += child.readAllStandardOutput();
    child.kill(); // SIGKILL: no handler runs, as when the power goes
    ASSERT_TRUE(child.waitForFinished(10000));
    ASSERT_TRUE(said.contains("copying")) << said.toStdString();

    EXPECT_FALSE(FileTree::exists(destination));
    const QStringList left = folderEntries(folder);
    ASSERT_EQ(left.size(), 1) << left.join(", ").toStdString();
    EXPECT_TRUE(left[0].startsWith(".Shot 1.prproj.") && left[0].endsWith(".partial"))
        << left[0].toStdString();

    // The leftover does not stand in the way of the next copy, which is whole.
    QString error;
    ASSERT_TRUE(FileTree::copyItem(source, destination, &error)) << error.toStdString();
    EXPECT_EQ(QFileInfo(destination).size(), 8 << 20);
}

// Another run takes the name while this copy is under way: its file stays as it is, and the
// failure names it.
TEST_F(TempHomeTest, ACopyWhoseNameIsTakenMeanwhileLeavesTheOtherFileAndNoPartOfItself) {
    home().writeFile("Alpha/Alpha.prproj", QByteArray(3 << 20, 'a'));
    const QString folder = home().makeFolder("Copies");
    const QString destination = folder + "/Alpha";
    FileTree::CopyControl control;
    control.progress = [&](quint64) {
        if (!FileTree::exists(destination))
            home().writeFile(destination, "the other run's");
    };
    QString error;
    EXPECT_FALSE(FileTree::copyItem(home().root() + "/Alpha", destination, &error, &control));
    EXPECT_EQ(error, destination + ": File exists");
    EXPECT_EQ(folderEntries(folder), QStringList{"Alpha"});
    EXPECT_EQ(readFile(destination), "the other run's");
}
