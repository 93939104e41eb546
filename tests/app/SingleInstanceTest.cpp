#include "app/SingleInstance.h"

#include "TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>

#include <sys/stat.h>
#include <unistd.h>

// Two starts racing for the name: the one that comes second must not take the first's socket
// away, or a third start would find nobody to tell.
TEST(SingleInstance, ALiveSocketIsNeverReplacedAndEveryLaterStartReachesItsOwner) {
    TempHome home;
    const QString name = home.root() + "/vestry.socket";
    SingleInstance first(name);
    ASSERT_TRUE(first.listen()) << first.error().toStdString();
    QSignalSpy raised(&first, &SingleInstance::activationRequested);

    SingleInstance second(name);
    EXPECT_FALSE(second.listen());
    EXPECT_EQ(second.error(), "another run has just started");
    // The owner answers from its loop, which runs only below: the request waits for it there.
    EXPECT_TRUE(SingleInstance(name).notifyRunning(200));
    EXPECT_TRUE(raised.wait(5000));
}

// Without a runtime folder (su, ssh) the socket still lies where only its user can reach it.
TEST(SingleInstance, WithoutARuntimeFolderTheSocketLiesInAFolderOnlyItsUserCanEnter) {
    TempHome home;
    qunsetenv("XDG_RUNTIME_DIR");
    const QString name = SingleInstance::socketName();
    ASSERT_TRUE(QDir::isAbsolutePath(name)) << name.toStdString();
    struct stat folder {};
    ASSERT_EQ(::stat(QFile::encodeName(QFileInfo(name).absolutePath()).constData(), &folder), 0);
    EXPECT_EQ(folder.st_uid, ::getuid());
    EXPECT_EQ(folder.st_mode & 077, 0u) << name.toStdString();
}
