#include "app/SingleInstance.h"

#include "TempHome.h"

#include <QSignalSpy>

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
