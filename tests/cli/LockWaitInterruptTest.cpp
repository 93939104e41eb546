// Ctrl+C or a plain kill while a command waits for another run's location.
#include "CommandLineFixture.h"

#include <csignal>

// The test holds the location as another run would, for longer than the signal needs: the
// command ends while the location is still held, and it touched nothing.
TEST_F(CommandLine, ASignalEndsTheWaitForAnotherRunAtOnce) {
    ASSERT_EQ(run({"prune", "--keep", "2", premiere}).exitCode, 0); // Beta-1 to the Trash
    const QString zip = home().root() + "/Autosaves.zip";
    const QList<std::tuple<QStringList, int, QString>> commands{
        {{"prune", "--keep", "1", premiere},
         SIGINT,
         "vestry prune: Cancelled: 0 of 1 autosave was moved to the Trash; the other one is untouched.\n"},
        {{"archive", "--to", zip, premiere + "/Beta"},
         SIGTERM,
         "vestry archive: Cancelled: no archive was made and no autosaves were moved to the Trash.\n"},
        {{"restore", "--last"},
         SIGINT,
         "vestry restore: Cancelled: 0 of 1 autosave was put back; the other one is untouched.\n"},
    };
    const QStringList before = autosavesLeft();
    for (const auto& [arguments, signal, said] : commands) {
        SCOPED_TRACE(arguments.join(' ').toStdString());
        bool endedWhileHeld = false;
        const Outcome result = runWhileHeld(arguments, [&, signal = signal](QProcess& command) {
            ASSERT_EQ(::kill(pid_t(command.processId()), signal), 0);
            endedWhileHeld = command.waitForFinished(3000);
        });
        EXPECT_TRUE(endedWhileHeld);
        EXPECT_EQ(result.exitCode, 128 + signal);
        EXPECT_EQ(result.err, said);
    }
    EXPECT_EQ(autosavesLeft(), before);
    EXPECT_FALSE(QFileInfo::exists(zip));
    EXPECT_EQ(trashRecords().size(), 1);
}
