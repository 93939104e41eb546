// The command line as a user meets it: the built program run as a subprocess, with its home,
// settings and Trash inside the test's temporary folder.
#include "CommandLineFixture.h"
#include "automation/HelperRunLog.h"
#include "catalogue/OutlineText.h"
#include "foundation/BMLocalPaths.h"
#include "foundation/BMSettings.h"
#include "foundation/FileName.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"
#include "support/LogLines.h"
#include "support/Tmpfs.h"
#include "support/ZipEntries.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include <csignal>
#include <pty.h>

struct StatusRow {
    const char* rowName;
    QString arguments; // split at "|"; "%" stands for the Premiere location, "@" for the home
    int exitCode;
    QString message; // on standard error ("@" for the home); nothing at all when empty
};

// Counts are decimal whatever their leading zeros (a row below); anything but digits is refused.
StatusRow notAWholeNumber(const char* rowName, const char* option, const char* value) {
    return {rowName, QString("prune|%1|%2|%").arg(option, value), 2,
            QString("%1: a whole number is expected, not \"%2\"").arg(option, value)};
}

class ExitStatus : public CommandLine, public ::testing::WithParamInterface<StatusRow> {};

TEST_P(ExitStatus, IsExplainedOnStandardErrorAndNothingIsTouched) {
    const StatusRow& row = GetParam();
    const Outcome result =
        run(row.arguments.split('|').replaceInStrings("%", premiere).replaceInStrings("@", home().home()));
    EXPECT_EQ(result.exitCode, row.exitCode);
    const QString message = QString(row.message).replace("@", home().home());
    EXPECT_TRUE(message.isEmpty() ? result.err.isEmpty() : result.err.contains(message))
        << result.err.toStdString();
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_TRUE(trashRecords().isEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ExitStatus,
    ::testing::Values(
        StatusRow{"NothingToPrune", "prune|--keep|3|%", 0, ""},
        StatusRow{"MissingFolder", "list|@/Gone/Avid Attic", 1,
                  "vestry list: @/Gone/Avid Attic: no such folder\n"},
        StatusRow{
            "NotALocation", "list|@/Documents", 1,
            "vestry list: @/Documents: not an autosave location: its path must end with \"Autosave Vault\", "
            "\"Adobe Premiere Pro Auto-Save\", \"Avid Attic\", \"Unity Attic\" or \".fcpbundle\"\n"},
        StatusRow{"TrailingSlash", "list|%/", 1, "(write it without the trailing \"/\")"},
        StatusRow{"UnknownSortKey", "list|--sort|kind", 2, "--sort"},
        StatusRow{"DescendingNeedsSort", "list|--descending", 2, "--descending requires --sort"},
        StatusRow{"PruneWithoutRule", "prune|%", 2, "[--older-than,--keep,--max-size] is required"},
        // Together the rules keep Beta's three: none is old, and nothing is over the size.
        StatusRow{"PruneWithEveryRule", "prune|--keep|1|--older-than|3|--max-size|1.5K|%", 0, ""},
        StatusRow{"MaxSizeWithoutUnit", "prune|--max-size|500|%", 2,
                  "--max-size: a size with a unit is expected (\"500M\", \"1.5G\"; units B, K, M, G, T), not "
                  "\"500\""},
        StatusRow{"MaxSizeOfNothing", "prune|--max-size|0.0001K|%", 2, "a size above zero"},
        StatusRow{"PruneKeepingNone", "prune|--keep|0|%", 2,
                  "--keep: a whole number from 1 to 1000000 is expected, not 0"},
        StatusRow{"KeepNineWithALeadingZero", "prune|--keep|09|%", 0, ""},
        notAWholeNumber("KeepInHex", "--keep", "0x2"), notAWholeNumber("KeepAFraction", "--keep", "1.5"),
        notAWholeNumber("KeepANegative", "--keep", "-1"), notAWholeNumber("KeepNothing", "--keep", ""),
        notAWholeNumber("OlderThanInHex", "--older-than", "0x1"),
        StatusRow{"ListAnEmptyPath", "list|%|", 2, "PATH: a path is expected, not an empty text"},
        StatusRow{"PruneAnEmptyPath", "prune|--keep|1|", 2, "PATH: a path is expected"},
        StatusRow{"ArchiveToAnEmptyPath", "archive|--to||%/Beta", 2, "--to: a path is expected"},
        StatusRow{"ArchiveAnEmptyPath", "archive|--to|@/A.zip|", 2, "PATH: a path is expected"},
        StatusRow{"PruneWithALocationMissing", "prune|--keep|1|%|@/Nowhere", 1,
                  "vestry prune: @/Nowhere: no such folder\n"},
        StatusRow{"ArchiveNotToAZip", "archive|--to|@/Autosaves.tar|%/Beta", 1, "must end in \".zip\""},
        StatusRow{"ArchiveWithAPathMissing", "archive|--to|@/A.zip|%/Beta|@/Gone.prproj", 1,
                  "vestry archive: @/Gone.prproj: no such file or folder"},
        StatusRow{"ArchiveTheLocationItself", "archive|--to|@/A.zip|%", 1, "is an autosave location"}),
    byRowName);

TEST_F(CommandLine, PruneDryRunChangesNothingThenPruneTrashesAndReportsInJson) {
    const Outcome result = run({"prune", "--keep", "1", "--dry-run", premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const OutlineText text(QLocale(QLocale::English, QLocale::UnitedStates), QTimeZone::utc());
    const auto line = [&](const QString& name) {
        return "180 B  " + text.itemDateText(created(autosave(name))) + "  " + autosave(name);
    };
    // Beta-3 is the newest and stays; the rest of Beta goes, newest first.
    EXPECT_EQ(result.out.split('\n'),
              (QStringList{line(kAll[2]), line(kAll[1]),
                           "Would move 2 autosaves, 360 bytes (360 B), to the Trash", ""}));
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_FALSE(QFileInfo::exists(home().home() + "/.local/share/Trash"));

    // Without a path: every location the settings know.
    BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere});
    BMSettings::standard().synchronize();
    const QString beta1 = autosave(kAll[1]), beta2 = autosave(kAll[2]);
    const QString iso1 = iso(beta1), iso2 = iso(beta2); // while they are there
    const Outcome json = run({"prune", "--keep", "1", "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.err.toStdString();
    EXPECT_EQ(json.out, QString("{\"removed\":[{\"path\":\"%1\",\"size\":180,\"createdDate\":\"%2\"},"
                                "{\"path\":\"%3\",\"size\":180,\"createdDate\":\"%4\"}],\"bytes\":360}\n")
                            .arg(beta2, iso2, beta1, iso1));
    EXPECT_EQ(json.err, ""); // no progress where standard error is not a terminal
    EXPECT_EQ(autosavesLeft(), (QStringList{kAll[0], kAll[3]}));
    EXPECT_EQ(trashRecords(), (QMap<QString, QString>{{"Beta-1.prproj", beta1}, {"Beta-2.prproj", beta2}}));
}

// "vestry list --json > file" on a full disk: a script must not take a cut listing for a whole one.
TEST_F(CommandLine, ResultsThatCannotBeWrittenOutAreAFailureNamingTheCause) {
    for (const QStringList& arguments :
         {QStringList{"list", premiere}, QStringList{"list", "--json", premiere},
          QStringList{"prune", "--dry-run", "--keep", "1", premiere}}) {
        QProcess vestry;
        vestry.setProcessEnvironment(environment());
        vestry.setStandardOutputFile("/dev/full");
        vestry.start(VESTRY_PROGRAM, arguments);
        ASSERT_TRUE(vestry.waitForFinished(20000));
        EXPECT_EQ(vestry.exitCode(), 1) << arguments.join(' ').toStdString();
        EXPECT_EQ(vestry.readAllStandardError(),
                  "vestry " + arguments[0].toUtf8() +
                      ": the results could not be written to standard output: No space left on device\n");
    }
}

// Given again through a link (the link's name ends as a location's must), or twice as typed;
// then Beta given twice to an archive, once through the link: its autosave goes in once.
TEST_F(CommandLine, TheSameLocationOrProjectGivenTwiceIsTakenOnce) {
    const QString linked = home().root() + "/elsewhere/Adobe Premiere Pro Auto-Save";
    ASSERT_TRUE(QDir().mkpath(home().root() + "/elsewhere"));
    ASSERT_TRUE(QFile::link(premiere, linked));
    const QString note = "vestry %1: " + linked + ": the same folder as " + premiere + ", taken once\n";
    const Outcome list = run({"list", "--summary", premiere, linked});
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_EQ(list.err, note.arg("list"));
    EXPECT_TRUE(list.out.contains("2 projects, 4 autosaves")) << list.out.toStdString();
    const Outcome prune = run({"prune", "--keep", "1", premiere, linked, premiere});
    EXPECT_EQ(prune.exitCode, 0);
    EXPECT_EQ(prune.err, note.arg("prune") + "vestry prune: " + premiere + ": the same folder as " +
                             premiere + ", taken once\n");
    EXPECT_TRUE(prune.out.endsWith("Moved 2 autosaves, 360 bytes (360 B), to the Trash\n"))
        << prune.out.toStdString();
    EXPECT_EQ(autosavesLeft(), (QStringList{kAll[0], kAll[3]}));

    const Outcome archive =
        run({"archive", "--to", "Autosaves.zip", "Documents/Adobe Premiere Pro Auto-Save/Beta/",
             autosave(kAll[0]), linked + "/Beta"});
    ASSERT_EQ(archive.exitCode, 0) << archive.err.toStdString();
    const QString destination = home().home() + "/Autosaves.zip";
    EXPECT_TRUE(archive.out.startsWith("Archived 2 autosaves to " + destination + " ("))
        << archive.out.toStdString();
    EXPECT_TRUE(archive.out.endsWith("); moved them to the Trash\n")) << archive.out.toStdString();
    // The archive's layout and the folders that go with their autosaves are ArchiverTest's.
    EXPECT_EQ(zipEntryNames(destination).filter(".prproj").size(), 2);
    EXPECT_TRUE(autosavesLeft().isEmpty());
}

TEST_F(CommandLine, PruneShowsProgressOnATerminal) {
    int master = -1;
    int slave = -1;
    ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    QProcess process;
    process.setProcessEnvironment(environment());
    process.setChildProcessModifier([slave] { ::dup2(slave, STDERR_FILENO); });
    process.start(VESTRY_PROGRAM, {"prune", "--keep", "1", premiere});
    ASSERT_TRUE(process.waitForFinished(60000));
    ::close(slave);
    QByteArray terminal;
    char buffer[4096];
    ::fcntl(master, F_SETFL, O_NONBLOCK);
    for (ssize_t n = 0; (n = ::read(master, buffer, sizeof buffer)) > 0;)
        terminal.append(buffer, n);
    ::close(master);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_TRUE(terminal.contains("\rMoving autosaves to the Trash (2 of 2)…\033[K"))
        << terminal.toStdString();
    EXPECT_TRUE(terminal.endsWith("\r\033[K")) << terminal.toStdString(); // erased at the end
    // Standard output is not the terminal's: the list and the totals go there as always.
    const QByteArray out = process.readAllStandardOutput();
    EXPECT_EQ(out.count('\n'), 3) << out.toStdString();
    EXPECT_TRUE(out.endsWith("\nMoved 2 autosaves, 360 bytes (360 B), to the Trash\n")) << out.toStdString();
}

TEST_F(CommandLine, AFailingArchiveStepRemovesNothing) {
    write(home().home() + "/.local/share/Brightmoor/Halvern"); // a file where the temporary folder goes
    const Outcome result = run({"archive", "--to", home().home() + "/Autosaves.zip", premiere + "/Beta"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.startsWith("vestry archive: Error: Unable to create temporary directory "))
        << result.err.toStdString();
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(QFileInfo::exists(home().home() + "/Autosaves.zip"));
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_TRUE(trashRecords().isEmpty());
}

TEST_F(CommandLine, DiscoverStoresTheVaultTheIndexKnowsMarksItNewOnceAndNeverReplacesUnreadableSettings) {
    const QString disk = home().root() + "/disk";
    const QString known = disk + "/Known/Adobe Premiere Pro Auto-Save";
    const QString vault = disk + "/Media \"Q\"/Autosave Vault";
    write(known + "/Cut-1.prproj");
    write(vault + "/Titles/Titles_2026-11-20_1030.motn");
    QDir().mkpath(disk + "/Empty/Autosave Vault");
    const QString settings = settingsFile();
    PlistFile::writeXml(settings, QVariantMap{{"autosavePaths", QStringList{known}}});
    const QString index = locateIndex(disk);
    if (index.isEmpty())
        GTEST_SKIP() << "plocate is not installed (the stand-in tool is tested in the catalogue tests)";
    QProcessEnvironment env = environment();
    env.insert(LinuxPlatform::locateDatabaseVariable, index);

    const Outcome json = run({"discover", "--json"}, env);
    EXPECT_EQ(json.exitCode, 0) << json.err.toStdString();
    EXPECT_EQ(json.out, "{\"locations\":[{\"path\":\"" + known +
                            "\",\"new\":false,\"offline\":false},{\"path\":\"" +
                            QString(vault).replace("\"", "\\\"") + "\",\"new\":true,\"offline\":false}]}\n");
    EXPECT_EQ(PlistFile::readDictionary(settings)->value("autosavePaths").toStringList(),
              (QStringList{known, vault}));
    EXPECT_EQ(run({"discover"}, env).out, "     " + known + "\n     " + vault + "\n2 locations, 0 new\n");

    // A settings file the user may not read is reported and never replaced. Its folder is
    // writable, so a save could replace it; only the file is closed to nobody.
    if (!openToNobody())
        GTEST_SKIP() << "needs root to run vestry as nobody";
    const QByteArray before = readFile(settings);
    QFile::setPermissions(settings, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    const Outcome closed = runAsNobody({"discover"}, env);
    EXPECT_EQ(closed.exitCode, 1);
    EXPECT_TRUE(closed.err.contains("Settings file " + settings + " could not be read: Permission denied"))
        << closed.err.toStdString();
    EXPECT_TRUE(closed.err.contains("vestry discover: the new locations could not be stored in " + settings))
        << closed.err.toStdString();
    EXPECT_EQ(readFile(settings), before);
    EXPECT_EQ(QDir(home().home() + "/.config").entryList(QDir::Files | QDir::Hidden),
              QStringList{"com.brightmoor.Vestry.plist"});
}

TEST_F(CommandLine, DiscoverWalksAnEditingDriveTheIndexLeavesOutAndSaysSo) {
    // A mount table of the run's own: the drive at /mnt/EDIT is seen by this run only.
    if (::getuid() != 0 || !QFileInfo("/usr/bin/unshare").isExecutable())
        GTEST_SKIP() << "mounting a drive needs root and unshare";
    const QString emptyFolder = home().root() + "/nothing";
    QDir().mkpath(emptyFolder);
    QProcessEnvironment env = environment();
    const QString index = locateIndex(emptyFolder);
    if (!index.isEmpty())
        env.insert(LinuxPlatform::locateDatabaseVariable, index);
    const QString drive = "/mnt/EDIT";
    const QString found = drive + "/Jobs/Wedding/Adobe Premiere Pro Auto-Save";
    const QString script =
        "mount -t tmpfs -o size=1m tmpfs /mnt && mkdir /mnt/EDIT && "
        "mount -t tmpfs -o size=4m tmpfs /mnt/EDIT && mkdir -p \"$1/Cut\" && "
        "echo x > \"$1/Cut/Cut-1.prproj\" && for d in \"$(printf 'Caf\\351')\" "
        "\"$(printf 'New\\nline')\"; do mkdir -p \"/mnt/EDIT/$d/Autosave Vault/T\" && "
        "echo x > \"/mnt/EDIT/$d/Autosave Vault/T/T_2026-11-20_1030.motn\"; done && shift && exec \"$@\"";
    const Outcome result = run({"--mount", "--propagation", "private", "sh", "-c", script, "sh", found,
                                VESTRY_PROGRAM, "discover", "--volumes"},
                               env, "/usr/bin/unshare");
    if (result.exitCode != 0 && result.err.contains("unshare"))
        GTEST_SKIP() << "no mount namespace here: " << result.err.toStdString();
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains("\nsearched " + drive + "\n") ||
                result.out.startsWith("searched " + drive + "\n"))
        << result.out.toStdString();
    // A line break is shown escaped; a path the settings cannot hold is named and not stored.
    const QString lineBreak = drive + "/New\nline/Autosave Vault";
    EXPECT_TRUE(result.out.contains("new  " + found + "\n") &&
                result.out.contains("new  " + drive + "/New\\nline/Autosave Vault\n") &&
                result.out.endsWith("\n2 locations, 2 new\n"))
        << result.out.toStdString();
    EXPECT_EQ(result.err,
              "vestry discover: " + drive +
                  "/Caf\\xe9/Autosave Vault holds autosaves but is not stored: its path is not valid "
                  "UTF-8, which the settings file cannot hold\n");
    const QString settings = settingsFile();
    const QStringList stored = PlistFile::readDictionary(settings)->value("autosavePaths").toStringList();
    EXPECT_EQ(QSet<QString>(stored.begin(), stored.end()), (QSet<QString>{found, lineBreak}));
}

TEST_F(CommandLine, ListSaysWhichStoredLocationsAreOfflineAndKeepsThem) {
    const QString gone = "/media/jo/EDIT/Adobe Premiere Pro Auto-Save";
    const QString settings = settingsFile();
    PlistFile::writeXml(settings, QVariantMap{{"autosavePaths", QStringList{gone, premiere}}});
    const Outcome text = run({"list"});
    ASSERT_EQ(text.exitCode, 0) << text.err.toStdString();
    EXPECT_TRUE(
        text.out.endsWith("Total: 2 projects, 4 autosaves, 740 bytes (740 B)\n" + gone + " (offline)\n"))
        << text.out.toStdString();
    const Outcome json = run({"list", "--json"});
    EXPECT_EQ(QJsonDocument::fromJson(json.out.toUtf8())["offline"], QJsonArray{gone});
    EXPECT_EQ(PlistFile::readDictionary(settings)->value("autosavePaths").toStringList(),
              (QStringList{gone, premiere}));
}

// Qt's file classes would turn bytes that are not UTF-8 into U+FFFD: these take them as they are.
static QByteArray readBytes(const QByteArray& path) {
    QByteArray contents;
    const int fd = ::open(path.constData(), O_RDONLY);
    char buffer[4096];
    for (ssize_t n = 0; fd >= 0 && (n = ::read(fd, buffer, sizeof buffer)) > 0;)
        contents.append(buffer, n);
    if (fd >= 0)
        ::close(fd);
    return contents;
}

TEST_F(CommandLine, LinksAndNamesThatAreNotUtf8AreNamedAndSuchAFileGoesToTheTrashByItsBytes) {
    write(home().root() + "/Far/Other-1.prproj", "far");
    ASSERT_TRUE(QFile::link(home().root() + "/Far", premiere + "/Linked"));
    ASSERT_TRUE(QFile::link(home().root() + "/Far/Other-1.prproj", premiere + "/Beta/Beta-0.prproj"));
    const QByteArray older = cafeProject() + "/Caf\xe9-1.prproj";
    const QByteArray trash = QFile::encodeName(home().home()) + "/.local/share/Trash/";
    const QString escaped = premiere + "/Caf\\xe9";
    const Outcome list = run({"list", premiere});
    // The location's own links are found as it is listed, the others as each project is scanned.
    EXPECT_EQ(list.err,
              "vestry list: " + premiere + "/Linked: a symbolic link, skipped (links are not followed)\n" +
                  "vestry list: " + premiere +
                  "/Beta/Beta-0.prproj: a symbolic link, skipped (links are not followed)\n" +
                  "vestry list: " + escaped +
                  ": the name is not valid UTF-8 (shown with its bytes escaped)\n" +
                  "vestry list: " + escaped +
                  "/Caf\\xe9-1.prproj: the name is not valid UTF-8 (shown with its bytes escaped)\n" +
                  "vestry list: " + escaped +
                  "/Caf\\xe9-2.prproj: the name is not valid UTF-8 (shown with its bytes escaped)\n");
    EXPECT_TRUE(list.out.contains("\n  Caf\\xe9-1.prproj  ") &&
                list.out.contains("Total: 3 projects, 6 autosaves"))
        << list.out.toStdString();
    // In JSON a path carries its bytes as lone surrogates ("\udce9").
    const QJsonArray json = QJsonDocument::fromJson(run({"list", "--json", premiere}).out.toUtf8())
                                .object()["projects"]
                                .toArray();
    EXPECT_EQ(FileName::encode(json[2].toObject()["items"].toArray()[0].toObject()["path"].toString()),
              older);

    const Outcome prune = run({"prune", "--keep", "1", premiere});
    EXPECT_EQ(prune.exitCode, 0) << prune.err.toStdString();
    EXPECT_TRUE(prune.out.contains(escaped + "/Caf\\xe9-1.prproj\n")) << prune.out.toStdString();
    QByteArray recorded;
    for (const QByteArray& line : readBytes(trash + "info/Caf\xe9-1.prproj.trashinfo").split('\n'))
        recorded = line.startsWith("Path=") ? QByteArray::fromPercentEncoding(line.mid(5)) : recorded;
    EXPECT_EQ(recorded, older);
    // Put back where the record says, as a Trash tool does: the same name, the same file.
    EXPECT_EQ(::rename((trash + "files/Caf\xe9-1.prproj").constData(), recorded.constData()), 0);
    EXPECT_EQ(readBytes(older), "1.prproj");
    EXPECT_TRUE(QFileInfo(premiere + "/Beta/Beta-0.prproj").isSymLink());
    EXPECT_EQ(readFile(home().root() + "/Far/Other-1.prproj"), "far");

    // A zip holds UTF-8 names only: the archive says which name it could not keep and
    // moves nothing.
    // (A shell passes the name's bytes, which a QString argument cannot.)
    const Outcome archive = run({"-c", "exec \"$0\" archive --to \"$1\" \"$2$(printf '\\351')\"",
                                 VESTRY_PROGRAM, home().root() + "/Cafe.zip", premiere + "/Caf"},
                                environment(), "/bin/sh");
    EXPECT_EQ(archive.exitCode, 1);
    EXPECT_TRUE(archive.err.contains(escaped + "/Caf\\xe9-1.prproj (its name is not valid UTF-8)"))
        << archive.err.toStdString();
    EXPECT_EQ(readBytes(older), "1.prproj");
}

TEST_F(CommandLine, PruneWaitsForAnotherRunsLockThenNamesTheHolder) {
    const std::optional<LocationLock> held = holdLocation();
    ASSERT_TRUE(held);
    QProcessEnvironment env = environment();
    env.insert("VESTRY_LOCK_WAIT_MS", "1500");
    QElapsedTimer timer;
    timer.start();
    const Outcome busy = run({"prune", "--keep", "1", premiere}, env);
    EXPECT_GE(timer.elapsed(), 1500);
    EXPECT_LT(timer.elapsed(), 20000);
    EXPECT_EQ(busy.exitCode, 1);
    EXPECT_TRUE(busy.err.startsWith("vestry prune: " + premiere + " is busy"));
    EXPECT_TRUE(
        busy.err.contains(QString("(process %1, vestry archive: archiving autosaves)").arg(::getpid())))
        << busy.err.toStdString();
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_TRUE(trashRecords().isEmpty());
}

TEST_F(CommandLine, TwoPrunesAtOnceTrashEachAutosaveOnceAndFindTheRestAlreadyGone) {
    std::optional<LocationLock> held = holdLocation();
    ASSERT_TRUE(held);
    QProcessEnvironment env = environment();
    // Both have scanned and wait for the location when the holder lets go.
    const QString lockFile = LocationLock::lockFilePath(premiere);
    env.insert("VESTRY_LOCK_WAIT_MS", "30000");
    std::unique_ptr<QProcess> prunes[2];
    for (auto& prune : prunes)
        prune = startProgram(VESTRY_PROGRAM, {"prune", "--keep", "1", premiere}, {env});
    QElapsedTimer timer;
    timer.start();
    while (!(hasOpen(prunes[0]->processId(), lockFile) && hasOpen(prunes[1]->processId(), lockFile)) &&
           timer.elapsed() < 30000)
        QThread::msleep(20);
    held.reset();
    QString err;
    for (auto& prune : prunes) {
        const Outcome result = finishProgram(*prune, 40000);
        EXPECT_EQ(result.exitCode, 0);
        err += result.err;
    }
    EXPECT_EQ(err.split('\n', Qt::SkipEmptyParts),
              (QStringList{"vestry prune: " + autosave(kAll[2]) + ": already gone", // newest first
                           "vestry prune: " + autosave(kAll[1]) + ": already gone"}));
    EXPECT_EQ(trashRecords(), (QMap<QString, QString>{{"Beta-1.prproj", autosave(kAll[1])},
                                                      {"Beta-2.prproj", autosave(kAll[2])}}));
    EXPECT_EQ(autosavesLeft(), (QStringList{kAll[0], kAll[3]}));
}

// Root reads everything: the closed index and location are read as nobody. A project folder on
// the way is only a warning (ListOutputTest); the location itself is an error.
TEST_F(CommandLine, ANamedLocateIndexOrALocationThatCannotBeReadIsAnErrorNamingTheCause) {
    QProcessEnvironment env = environment();
    const QString missing = home().root() + "/none.db";
    env.insert(LinuxPlatform::locateDatabaseVariable, missing);
    Outcome result = run({"discover"}, env);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "vestry discover: the file name index " + missing +
                              " (named by VESTRY_LOCATE_DB) could not be read: No such file or directory\n");
    EXPECT_EQ(result.out, "");

    const QString closed = home().root() + "/closed.db";
    write(closed, "an index only root may read");
    if (!openToNobody())
        GTEST_SKIP() << "needs root to run vestry as nobody";
    QFile::setPermissions(closed, QFileDevice::ReadOwner);
    env.insert(LinuxPlatform::locateDatabaseVariable, closed);
    result = runAsNobody({"discover"}, env);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(
        result.err.contains(closed + " (named by VESTRY_LOCATE_DB) could not be read: Permission denied"))
        << result.err.toStdString();

    QFile::setPermissions(premiere, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    result = runAsNobody({"list", premiere}, environment());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("vestry list: " + premiere +
                                    ": the folder could not be read: Permission denied\n"))
        << result.err.toStdString();
}

// The signal comes while the prune waits for the location this test holds, so it lands before
// the first file whatever the machine's speed. SIGTERM is what `kill`, `timeout` and systemd send.
TEST_F(CommandLine, CtrlCOrSigtermStopsAPruneBetweenFilesSaysSoAndExitsAsInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(signal);
        const Outcome result = runWhileHeld({"prune", "--keep", "1", premiere}, [&](QProcess& prune) {
            ASSERT_EQ(::kill(pid_t(prune.processId()), signal), 0);
            QThread::msleep(100);
        });
        EXPECT_EQ(result.exitCode, 128 + signal);
        EXPECT_EQ(result.err, "vestry prune: Cancelled: 0 of 2 autosaves were moved to the Trash; the other "
                              "2 are untouched.\n");
        EXPECT_EQ(autosavesLeft(), kAll);
    }
}

// Another archive to the same name finishes while this one waits for the location.
TEST_F(CommandLine, AnArchiveThatAppearsAtTheDestinationMeanwhileIsNeitherTrashedNorReplaced) {
    const QString zip = home().root() + "/Autosaves.zip";
    const Outcome result = runWhileHeld({"archive", "--to", zip, premiere + "/Beta"},
                                        [&](QProcess&) { write(zip, "the other run's archive"); });
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(zip +
                                    " appeared while the autosaves were gathered (another archive?); it is "
                                    "left as it is and nothing was moved to the Trash."))
        << result.err.toStdString();
    EXPECT_EQ(readFile(zip), "the other run's archive");
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_TRUE(trashRecords().isEmpty());
}

// Removed by somebody else while the prune waited: named as every other message names it.
TEST_F(CommandLine, AnAutosaveGoneWhileThePruneWaitedIsNamedOnOneLine) {
    const QString older = premiere + "/New\nline/Take-1.prproj";
    write(older);
    QThread::msleep(5);
    write(premiere + "/New\nline/Take-2.prproj");
    const Outcome result = runWhileHeld({"prune", "--keep", "1", premiere},
                                        [&](QProcess&) { ASSERT_TRUE(QFile::remove(older)); });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.err, "vestry prune: " + premiere + "/New\\nline/Take-1.prproj: already gone\n");
}

// The archive, named with the longest name the system allows (of two-byte characters), is made;
// then the Trash refuses every autosave (its info folder is a file).
TEST_F(CommandLine, AnArchiveNamedWithAllTheBytesANameMayHaveIsWrittenAndOneWhoseAutosavesStayedSaysSo) {
    write(home().home() + "/.local/share/Trash/info", "not a folder");
    const QString zip = home().root() + "/" + QString(125, QChar(0xe9)) + "a.zip";
    ASSERT_EQ(QFile::encodeName(zip.mid(zip.lastIndexOf('/') + 1)).size(), 255);
    const Outcome result = run({"archive", "--to", zip, premiere + "/Beta"});
    EXPECT_EQ(zipEntryNames(zip).filter(".prproj").size(), 3);
    EXPECT_EQ(QDir(home().root()).entryList({"*.partial"}, QDir::Files | QDir::Hidden), QStringList());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.endsWith("); moved 0 of 3 to the Trash\n")) << result.out.toStdString();
    EXPECT_TRUE(
        result.err.contains("Beta-1.prproj to the Trash: cannot use the Trash folder " + home().home() +
                            "/.local/share/Trash/info: Not a directory; it is in the archive and stays "
                            "where it was\n"))
        << result.err.toStdString();
    EXPECT_EQ(autosavesLeft(), kAll);
}

// A destination volume of its own, full before the command starts.
class CommandLineOnAFullDisk : public CommandLine {
protected:
    void SetUp() override {
        CommandLine::SetUp();
        if (IsSkipped())
            return;
        disk = home().root() + "/full";
        volume = std::make_unique<Tmpfs>(disk, "size=64k,nr_inodes=64");
        if (!volume->mounted())
            GTEST_SKIP() << volume->why().toStdString();
        volume->fill();
    }
    void TearDown() override {
        volume.reset();
        CommandLine::TearDown();
    }
    QString disk;
    std::unique_ptr<Tmpfs> volume;
};

TEST_F(CommandLineOnAFullDisk, AnArchiveThatDoesNotFitNamesTheFileAndTheCauseAndMovesNothing) {
    const Outcome result = run({"archive", "--to", disk + "/Autosaves.zip", premiere + "/Beta"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains(disk + "/Autosaves.zip: Write error: No space left on device"))
        << result.err.toStdString();
    EXPECT_FALSE(result.err.contains("Please report")) << result.err.toStdString();
    EXPECT_EQ(QDir(disk).entryList(QDir::Files | QDir::Hidden), QStringList{"filler"});
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_TRUE(trashRecords().isEmpty());
}

// The clean-up job switched on, reported and switched off through the real unit folder, with
// a service manager that cannot be reached (no user session: a container, an SSH login).
class HelperCommand : public CommandLine {
protected:
    void SetUp() override {
        CommandLine::SetUp();
        if (IsSkipped())
            return;
        env = environment();
        env.insert("XDG_RUNTIME_DIR", home().makeFolder("runtime"));
        env.remove("DBUS_SESSION_BUS_ADDRESS");
        units = home().home() + "/.config/systemd/user/com.brightmoor.VestryCleanHelper";
    }
    QVariantMap stored() const { return PlistFile::readDictionary(settingsFile()).value_or(QVariantMap()); }

    QProcessEnvironment env;
    QString units;
};

TEST_F(HelperCommand, EnableCleanStoresTheFolderInstallsTheUnitsAndDisableRemovesThem) {
    Outcome result =
        run({"helper", "enable", "clean", premiere, "--older-than", "30", "--action", "archive"}, env);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(QFileInfo::exists(units + ".service") && QFileInfo::exists(units + ".path"));
    EXPECT_EQ(result.out,
              "Installed the clean job:\n  " + units + ".service\n  " + units +
                  ".path\nLimits: older than 30 days; archived into \"Vestry Archives\" beside the "
                  "folder, then to the Trash\n");
    // The files are in place; that the service manager was not told is a warning.
    EXPECT_TRUE(result.err.contains(QRegularExpression("vestry helper: warning: .*service manager")))
        << result.err.toStdString();
    EXPECT_EQ(stored().value("autoClean"), QVariant(true));
    EXPECT_EQ(stored().value("autosaveFolder"), "~/Documents/Adobe Premiere Pro Auto-Save");
    EXPECT_EQ(stored().value("autoCleanUseCriteriaAge"), QVariant(true));
    EXPECT_EQ(stored().value("autoCleanCriteriaAge").toInt(), 30);
    EXPECT_EQ(stored().value("autoCleanAction").toInt(), 1);

    // A run of the helper, as it logs it.
    home().writeFile(home().home() + "/.local/state/Brightmoor/Vestry.task.1.log",
                     (BMLog::dateDescription(QDateTime::fromString("2026-11-24T21:05:30Z", Qt::ISODate)) +
                      " - " + HelperRunLog::finishedLine("clean", true, "moved 2 autosaves to the Trash") +
                      "\n")
                         .toUtf8());
    result = run({"helper", "status", "--json"}, env);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject document = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(document["system"], false);
    const QJsonArray jobs = document["jobs"].toArray();
    ASSERT_EQ(jobs.size(), 2);
    EXPECT_EQ(jobs[0].toObject()["installed"], false); // the trash job
    EXPECT_EQ(jobs[1].toObject(),
              (QJsonObject{{"job", "clean"},
                           {"label", "com.brightmoor.VestryCleanHelper"},
                           {"switchedOn", true},
                           {"installed", true},
                           {"unitFiles", QJsonArray{units + ".service", units + ".path"}},
                           {"watchedPaths", QJsonArray{premiere, premiere + "/Alpha", premiere + "/Beta"}},
                           {"folder", premiere},
                           {"limits", QJsonObject{{"olderThanDays", 30},
                                                  {"projectSizeMB", QJsonValue()},
                                                  {"folderSizeGB", QJsonValue()},
                                                  {"action", "archive"}}},
                           {"lastRun", QJsonObject{{"finished", "2026-11-24T21:05:30Z"},
                                                   {"ok", true},
                                                   {"result", "moved 2 autosaves to the Trash"}}}}));

    result = run({"helper", "disable", "clean"}, env);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(units + ".service") || QFileInfo::exists(units + ".path"));
    EXPECT_EQ(stored().value("autoClean"), QVariant(false));
    EXPECT_EQ(stored().value("autosaveFolder"), "~/Documents/Adobe Premiere Pro Auto-Save");
    result = run({"helper", "status"}, env);
    EXPECT_TRUE(result.out.contains("clean job (com.brightmoor.VestryCleanHelper): off, not installed\n"
                                    "  folder:   " +
                                    premiere + "\n"))
        << result.out.toStdString();
}

TEST_F(HelperCommand, AFolderThatIsNotThereNotALocationNoneAtAllOrTheComputersJobAsAUserChangesNothing) {
    const QString gone = home().home() + "/Gone";
    Outcome result = run({"helper", "enable", "clean", gone}, env);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "vestry helper: " + gone + ": no such folder\n");
    // The helper would refuse it at every run.
    result = run({"helper", "enable", "clean", home().home() + "/Documents"}, env);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("/Documents: not an autosave location")) << result.err.toStdString();
    result = run({"helper", "enable", "clean"}, env);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("no autosave folder has been chosen")) << result.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(home().home() + "/.config/systemd"));
    // The computer's jobs are root's.
    if (!openToNobody())
        GTEST_SKIP() << "needs root to run vestry as nobody";
    result = runAsNobody({"helper", "enable", "clean", premiere, "--system"}, env);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err,
              "vestry helper: --system changes the computer's jobs, which only root may do (try sudo)\n");
    EXPECT_FALSE(QFileInfo::exists(settingsFile()));
}

// A folder whose path the settings or a unit cannot hold is refused before anything changes:
// the settings kept it with "?" for its bytes, and the job that worked was stopped.
TEST_F(HelperCommand, AFolderAUnitCannotNameChangesNeitherTheSettingsNorTheJob) {
    ASSERT_EQ(run({"helper", "enable", "clean", premiere}, env).exitCode, 0);
    const QByteArray before = readFile(units + ".path");
    const QVariant folder = stored().value("autosaveFolder");
    const QString root = home().home() + "/";
    for (const char* name : {"Caf\\351", "New\\nline"}) {
        const QString script =
            QString("mkdir -p \"$1$(printf '%1')/Adobe Premiere Pro Auto-Save/Cut\" && "
                    "echo x > \"$1$(printf '%1')/Adobe Premiere Pro Auto-Save/Cut/Cut-1.prproj\" "
                    "&& exec \"$0\" helper enable clean \"$1$(printf '%1')/Adobe Premiere Pro Auto-Save\"")
                .arg(name);
        const Outcome result = run({"-c", script, VESTRY_PROGRAM, root}, env, "/bin/sh");
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_TRUE(result.err.endsWith("; nothing was changed\n")) << result.err.toStdString();
        EXPECT_EQ(stored().value("autosaveFolder"), folder);
        EXPECT_EQ(readFile(units + ".path"), before);
    }
}

// A file server's job lives in /etc/systemd/system, inside the system folders that removal
// otherwise never touches: switching it off must still take exactly its own two files away.
// Run in a mount namespace of its own with a scratch /etc/systemd/system.
TEST_F(HelperCommand, TheComputersJobIsInstalledAndRemovedInTheSystemFolder) {
    const QString unit = "/etc/systemd/system/com.brightmoor.VestryCleanHelper";
    const QString script =
        QString("[ -d /etc/systemd/system ] && mount -t tmpfs tmpfs /etc/systemd/system || exit 77\n"
                "touch /etc/systemd/system/other.service\n"
                "\"$0\" helper enable clean \"$1\" --system --older-than 9 || exit 10\n"
                "[ -f %1.service ] && [ -f %1.path ] || exit 11\n"
                "\"$0\" helper disable clean --system || exit 12\n"
                "[ ! -e %1.service ] && [ ! -e %1.path ] || exit 13\n"
                "[ -f /etc/systemd/system/other.service ] || exit 14\n")
            .arg(unit);
    const Outcome result =
        run({"--mount", "--propagation", "private", "sh", "-c", script, VESTRY_PROGRAM, premiere}, env,
            "/usr/bin/unshare");
    if (result.exitCode == 77 || result.err.contains("unshare failed"))
        GTEST_SKIP() << "no mount namespace with a scratch /etc/systemd/system here";
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_FALSE(result.err.contains("system folder")) << result.err.toStdString();
}

TEST_F(CommandLine, RunsLogApartFromTheWindowAndGatherLogsPutsThemOnTheDesktopOrSaysThereAreNone) {
    // With logging switched off the run itself leaves no log to gather.
    const QString global = home().home() + "/.config/com.brightmoor.global.plist";
    write(global, PlistFile::toXml(QVariantMap{{SettingsKey::disableLogging, "1"}}));
    const QString archive = BMLocalPaths::desktopDirectory() + "/Vestry Logs.zip";
    Outcome gathered = run({"gather-logs"});
    EXPECT_EQ(gathered.exitCode, 1);
    EXPECT_TRUE(gathered.out.isEmpty());
    EXPECT_TRUE(gathered.err.contains("No logs found")) << gathered.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(archive));
    ASSERT_TRUE(QFile::remove(global));

    const QString logs = BMLog::logFolder();
    write(logs + "/Vestry.1.log", "the window's log");
    // More runs than the log keeps generations: the window's log is never rotated away.
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(run({"list"}).exitCode, 0);
    EXPECT_EQ(readFile(logs + "/Vestry.1.log"), "the window's log");
    EXPECT_TRUE(QFileInfo::exists(logs + "/Vestry.cli.5.log"));
    gathered = run({"gather-logs"});
    EXPECT_EQ(gathered.exitCode, 0) << gathered.err.toStdString();
    EXPECT_EQ(gathered.out, archive + "\n");
    EXPECT_TRUE(gathered.err.contains("Logs gathered successfully")) << gathered.err.toStdString();
    const QStringList entries = zipEntryNames(archive);
    for (const char* name : {"Vestry.1.log", "Vestry.cli.1.log", "Vestry.cli.5.log"})
        EXPECT_TRUE(entries.contains("BM_App_Logs" + logs + "/" + name)) << name;
}

TEST_F(CommandLine, TheWindowKilledBySegvLeavesACrashReport) {
    const QString reports = BMLocalPaths::logDirectory(true) + "/DiagnosticReports";
    QProcessEnvironment env = environment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    QProcess window;
    window.setProcessEnvironment(env);
    window.start(VESTRY_PROGRAM, QStringList{});
    ASSERT_TRUE(window.waitForStarted(10000));
    // The reporter makes its folder when it starts.
    QElapsedTimer clock;
    clock.start();
    while (!QFileInfo(reports).isDir() && clock.elapsed() < 20000)
        QThread::msleep(20);
    const bool started = QFileInfo(reports).isDir();
    ::kill(pid_t(window.processId()), started ? SIGSEGV : SIGKILL);
    ASSERT_TRUE(window.waitForFinished(20000));
    ASSERT_TRUE(started) << "the window never started its crash reporter";
    EXPECT_EQ(window.exitStatus(), QProcess::CrashExit);
    const QStringList names = QDir(reports).entryList(QDir::Files);
    ASSERT_EQ(names.size(), 1);
    EXPECT_TRUE(names.first().startsWith("Vestry_"));
    EXPECT_TRUE(readFile(reports + "/" + names.first()).contains("SIGSEGV"));
}

TEST_F(CommandLine, TheDemoHomeStillListsAfterItIsMoved) {
    const QString script =
        QFileInfo(QStringLiteral(__FILE__)).absolutePath() + "/../../scripts/make-demo-home";
    const QString made = home().root() + "/made";
    const QString moved = home().root() + "/moved";
    const Outcome make = runProgram("bash", {script, made});
    ASSERT_EQ(make.exitCode, 0) << make.err.toStdString();
    ASSERT_TRUE(QDir().rename(made, moved));

    QProcessEnvironment env = environment();
    env.insert("HOME", moved);
    env.insert("XDG_CONFIG_HOME", moved + "/.config");
    const Outcome result = run({"list"}, env);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    for (const char* project :
         {"Wedding Highlights", "Opening Titles", "Short Film", "Feature Film", "Ceremony"})
        EXPECT_TRUE(result.out.contains(QLatin1String(project))) << project << "\n"
                                                                 << result.out.toStdString();
    EXPECT_FALSE(result.out.contains("offline")) << result.out.toStdString();
    EXPECT_EQ(result.err, "");
}
