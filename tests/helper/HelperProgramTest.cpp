// vestry-helper as the background jobs run it: the built program as a subprocess, on real
// trees in a temporary home, with that home's settings, log and Trash.
#include "ZipEntries.h"
#include "actions/RemovalJournal.h"
#include "automation/HelperRunLog.h"
#include "foundation/BMSettings.h"
#include "foundation/LocationLock.h"
#include "foundation/PlistFile.h"
#include "foundation/SettingsKeys.h"
#include "helper/HelperRun.h"
#include "support/MacMetadata.h"
#include "support/Programs.h"
#include "support/TempHome.h"
#include "support/Tmpfs.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QUrl>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace SettingsKey;

using Outcome = ProgramRun;

class HelperProgram : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (actingForAnotherConsoleUser())
            GTEST_SKIP() << "running as root for another console user";
        if (!setDosAttrib(home().writeFile("probe"), dosAttribRecord(4, QDateTime::currentDateTimeUtc())))
            GTEST_SKIP() << "the file system refuses user extended attributes (the dates of autosaves)";
        location = home().home() + "/Share/Adobe Premiere Pro Auto-Save";
        set({{autoClean, true}});
    }
    static void set(std::initializer_list<std::pair<const char*, QVariant>> values) {
        for (const auto& [key, value] : values)
            BMSettings::standard().setValue(key, value);
        BMSettings::standard().synchronize();
    }
    // A restore record in a Trash under the home, as the freedesktop.org format has it.
    void trashRecord(const QString& trash, const QString& name, const QByteArray& originalPath) {
        home().writeHomeFile(trash + "files/" + name, "project");
        home().writeHomeFile(trash + "info/" + name + ".trashinfo",
                             "[Trash Info]\nPath=" + originalPath + "\nDeletionDate=" +
                                 QDateTime::currentDateTime().toString("yyyy-MM-ddTHH:mm:ss").toUtf8() +
                                 "\n");
    }

    // An autosave of the location created days ago, as Samba records a Mac's creation date,
    // and last written then too unless minutes ago are given.
    void autosave(const QString& relative, double daysAgo, qint64 size = 0, int writtenMinutesAgo = -1) {
        const QString path = location + "/" + relative;
        home().writeFile(path, relative.toUtf8());
        if (size > 0) {
            ASSERT_TRUE(QFile::resize(path, size));
        }
        const QDateTime now = QDateTime::currentDateTimeUtc();
        const QDateTime created = now.addSecs(qint64(-daysAgo * 86400));
        const QDateTime written = writtenMinutesAgo < 0 ? created : now.addSecs(-60 * writtenMinutesAgo);
        ASSERT_TRUE(setDosAttrib(path, dosAttribRecord(4, created)) &&
                    keepOriginalModificationTime(path, written));
    }

    // The project's autosaves NAME-1, NAME-2... created so many days ago.
    void autosaves(const QString& project, std::initializer_list<double> daysAgo) {
        int n = 0;
        for (const double days : daysAgo)
            autosave(QString("%1/%1-%2.prproj").arg(project).arg(++n), days);
    }

    RunOptions options(const QString& timeLimitMs = QString()) const {
        RunOptions options{QProcessEnvironment::systemEnvironment(), home().home()};
        options.environment.insert("LC_ALL", "en_US.UTF-8");
        if (!timeLimitMs.isNull())
            options.environment.insert("VESTRY_HELPER_TIME_LIMIT_MS", timeLimitMs);
        return options;
    }
    Outcome run(const QStringList& arguments, const QString& timeLimitMs = QString(),
                const QString& program = VESTRY_HELPER_PROGRAM) {
        return runProgram(program, arguments, options(timeLimitMs));
    }

    // Relative path -> original path, of what the home's Trash holds with its record.
    QMap<QString, QString> trashed() const {
        QMap<QString, QString> records = trashRecords(home().home() + "/.local/share/Trash");
        for (QString& path : records)
            path = path.mid(location.size() + 1);
        return records;
    }
    QStringList left() const {
        QStringList names;
        for (QDirIterator it(location, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
            names << it.next().mid(location.size() + 1);
        names.sort();
        return names;
    }
    // Every file and folder of the home but the logs, with its size and modification time.
    QStringList listing() const {
        QStringList lines;
        for (QDirIterator it(home().home(), QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                             QDirIterator::Subdirectories);
             it.hasNext();) {
            const QFileInfo info(it.nextFileInfo());
            const QString relative = info.filePath().mid(home().home().size() + 1);
            if (relative == ".config" || relative == ".config/com.brightmoor.Vestry.plist") {
                // Every run marks its start and end in the settings; nothing else may change.
                QVariantMap settings = PlistFile::readDictionary(info.filePath()).value_or(QVariantMap());
                settings.remove("launch");
                settings.remove("exit");
                if (info.isFile())
                    lines << info.filePath() + " " + PlistFile::toXml(settings);
            } else if (relative != ".local" && !relative.startsWith(".local/state") &&
                       !relative.startsWith(".cache"))
                lines << QString("%1 %2 %3")
                             .arg(info.filePath())
                             .arg(info.size())
                             .arg(info.lastModified().toMSecsSinceEpoch());
        }
        lines.sort();
        return lines;
    }

    // The job's last run as the task log has it: "ok: <result>" or "failed: <result>".
    QString lastRun(const QString& job) const {
        const auto run = HelperRunLog::lastRun(home().home() + "/.local/state/Brightmoor", job);
        return !run ? "no run" : (run->ok ? "ok: " : "failed: ") + run->result;
    }

    QString location;
};

TEST_F(HelperProgram, CleanTrashesWhatBreaksALimitOldestFirstAndKeepsEachNewest) {
    set({{autoCleanUseCriteriaAge, true}, {autoCleanUseCriteriaSize, true}, {autoCleanCriteriaSize, 2}});
    autosaves("Edit", {40, 35, 31}); // Edit-3, the newest of Edit, is kept although old
    autosave("Cut/Cut-1.prproj", 5, 1536 * 1024);
    autosave("Cut/Cut-2.prproj", 4, 1536 * 1024);
    autosave("Cut/Cut-3.prproj", 3, 1024); // 3 MB in all; the oldest goes, 1.5 MB stays
    autosave("Solo/Solo-1.prproj", 90);

    // A time limit reached before the first file: nothing moves, and the log says how many wait.
    const Outcome stopped = run({"-clean", location + "/"}, "0");
    EXPECT_EQ(stopped.exitCode, 0) << stopped.err.toStdString();
    EXPECT_TRUE(trashed().isEmpty());
    EXPECT_EQ(lastRun("clean"), "ok: moved 0 autosaves (0 B) to the Trash; stopped at the time limit of "
                                "0 s with 3 left for the next run");

    const Outcome result = run({"-clean", location});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString() << result.out.toStdString();
    EXPECT_EQ(trashed(), (QMap<QString, QString>{{"Edit-1.prproj", "Edit/Edit-1.prproj"},
                                                 {"Edit-2.prproj", "Edit/Edit-2.prproj"},
                                                 {"Cut-1.prproj", "Cut/Cut-1.prproj"}}));
    EXPECT_EQ(left(), (QStringList{"Cut/Cut-2.prproj", "Cut/Cut-3.prproj", "Edit/Edit-3.prproj",
                                   "Solo/Solo-1.prproj"}));
    // What went, and why, on standard output and in the task log.
    EXPECT_TRUE(
        result.out.contains(QRegularExpression("Cut-1.prproj \\(1.5 MB, created [^)]+\\): oldest of a "
                                               "project over 2 MB\n")))
        << result.out.toStdString();
    EXPECT_EQ(lastRun("clean"), "ok: moved 3 autosaves (1.5 MB) to the Trash");
    // The run took them one by one, and they are put back as one removal.
    const std::optional<RemovalJournal::Entry> removal = RemovalJournal::last();
    ASSERT_TRUE(removal);
    EXPECT_EQ(removal->paths.size(), 3);

    // Within every limit now: nothing to do, and nothing moves.
    EXPECT_EQ(run({"-clean", location}).exitCode, 0);
    EXPECT_EQ(lastRun("clean"), "ok: nothing to do");
    EXPECT_EQ(trashed().size(), 3);
}

TEST_F(HelperProgram, CleanNeverTakesAPinnedAutosaveNorOneOfAPinnedProjectAndSaysSoInADryRun) {
    set({{autoCleanUseCriteriaAge, true},
         {pinnedPaths,
          QStringList{"~/Share/Adobe Premiere Pro Auto-Save/Edit/Edit-1.prproj", location + "/Cut"}}});
    autosaves("Edit", {40, 35, 1});
    autosaves("Cut", {40, 1});

    // Only the pinned ones the age limit would have taken; Cut-2 is kept as the newest anyway.
    const Outcome dry = run({"-clean", location, "--dry-run"});
    ASSERT_EQ(dry.exitCode, 0) << dry.err.toStdString();
    const QStringList keep = dry.out.split('\n').filter(QRegularExpression("^keep: "));
    ASSERT_EQ(keep.size(), 2) << dry.out.toStdString();
    for (const QString& path : {location + "/Edit/Edit-1.prproj", location + "/Cut/Cut-1.prproj"}) {
        EXPECT_EQ(keep.filter(QRegularExpression("^keep: " + QRegularExpression::escape(path) +
                                                 " \\([0-9]+ B, created [^)]+\\): pinned$"))
                      .size(),
                  1)
            << dry.out.toStdString();
    }
    EXPECT_EQ(left().size(), 5);

    const Outcome result = run({"-clean", location});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString() << result.out.toStdString();
    EXPECT_EQ(trashed(), (QMap<QString, QString>{{"Edit-2.prproj", "Edit/Edit-2.prproj"}}));
    EXPECT_EQ(left(), (QStringList{"Cut/Cut-1.prproj", "Cut/Cut-2.prproj", "Edit/Edit-1.prproj",
                                   "Edit/Edit-3.prproj"}));
}

TEST_F(HelperProgram, ArchivesBesideTheFolderThenTrashesAndNeverReplacesAnArchive) {
    set({{autoCleanAction, 1}, {autoCleanUseCriteriaAge, true}});
    autosaves("Edit", {40, 35, 1});
    autosave("Solo/Solo-1.prproj", 90);
    const QString archives = home().home() + "/Share/Vestry Archives/";
    const QString today = QDate::currentDate().toString(Qt::ISODate);
    home().writeHomeFile(QString("Share/Vestry Archives/Edit %1.zip").arg(today), "an earlier run's archive");

    const Outcome result = run({"-clean", location});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString() << result.out.toStdString();
    EXPECT_EQ(readFile(archives + "Edit " + today + ".zip"), "an earlier run's archive");
    const QString destination = archives + "Edit " + today + " 2.zip";
    const QStringList names = zipEntryNames(destination);
    EXPECT_EQ(names, (QStringList{"Edit/", "Edit/Edit-1.prproj", "Edit/Edit-2.prproj", "manifest.json"}));
    EXPECT_EQ(trashed(), (QMap<QString, QString>{{"Edit-1.prproj", "Edit/Edit-1.prproj"},
                                                 {"Edit-2.prproj", "Edit/Edit-2.prproj"}}));
    EXPECT_TRUE(lastRun("clean").startsWith("ok: archived 1 project into " + home().home() +
                                            "/Share/Vestry Archives, moved 2 autosaves"))
        << lastRun("clean").toStdString();
}

// Also before the job is switched on: a dry run is how it is tried out.
TEST_F(HelperProgram, DryRunSaysWhatAndWhyAndChangesNothing) {
    set({{autoClean, false},
         {autoCleanAction, 1},
         {autoCleanUseCriteriaTotalSize, true},
         {autoCleanCriteriaTotalSize, 0}});
    autosaves("Edit", {3, 2});
    autosave("Cut/Cut-1.prproj", 1);
    const QStringList before = listing();

    const Outcome result = run({"-clean", location, "--dry-run"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(
        result.out.contains(QString("would archive into %1/Share/Vestry Archives/Edit %2.zip and move to "
                                    "the Trash: %3/Edit/Edit-1.prproj (")
                                .arg(home().home(), QDate::currentDate().toString(Qt::ISODate), location)))
        << result.out.toStdString();
    EXPECT_TRUE(result.out.contains("): oldest of a folder over 0 GB\n")) << result.out.toStdString();
    EXPECT_TRUE(result.out.contains("switched off (autoClean); this is what it would do when on"));
    EXPECT_TRUE(result.out.endsWith("dry run: would archive 1 project into " + home().home() +
                                    "/Share/Vestry Archives, would move 1 autosave (18 B) to the Trash\n"))
        << result.out.toStdString();
    EXPECT_EQ(listing(), before);
}

TEST_F(HelperProgram, TwoRunsAtOnceMoveEachAutosaveOnce) {
    set({{autoCleanUseCriteriaAge, true}});
    QStringList old;
    for (int project = 1; project <= 4; ++project) {
        for (int n = 1; n <= 8; ++n) {
            const QString name = QString("P%1/P%1-%2.prproj").arg(project).arg(n);
            autosave(name, 60 - n);
            if (n < 8)
                old << name;
        }
    }
    // Another run holds the job while both start: both wait, then one works and the other
    // scans afresh after it.
    std::optional<LocationLock> other = LocationLock::acquire(
        HelperRun::runLockKey("clean", location), "another run", std::chrono::milliseconds(0), nullptr);
    ASSERT_TRUE(other);
    const auto first = startProgram(VESTRY_HELPER_PROGRAM, {"-clean", location}, options());
    const auto second = startProgram(VESTRY_HELPER_PROGRAM, {"-clean", location}, options());
    EXPECT_FALSE(first->waitForFinished(1000));
    EXPECT_FALSE(second->waitForFinished(100));
    other.reset();
    const Outcome a = finishProgram(*first);
    const Outcome b = finishProgram(*second);
    EXPECT_EQ(a.exitCode, 0) << a.err.toStdString();
    EXPECT_EQ(b.exitCode, 0) << b.err.toStdString();
    EXPECT_EQ(trashed().values(), old); // each once: a second copy would be "P1-1 2.prproj" in the Trash
    EXPECT_EQ(left(), (QStringList{"P1/P1-8.prproj", "P2/P2-8.prproj", "P3/P3-8.prproj", "P4/P4-8.prproj"}));
    QStringList results{a.out.section('\n', -2, -2), b.out.section('\n', -2, -2)};
    results.sort();
    EXPECT_EQ(results, (QStringList{"moved 28 autosaves (392 B) to the Trash", "nothing to do"}));
}

// A missing folder fails naming it. The autosave folder replaced by a link after the job was
// switched on: to another autosave folder it is cleaned; to the editor's project files, nothing
// is touched.
TEST_F(HelperProgram, AMissingFolderFailsAndOneReplacedByALinkIsCleanedOnlyWhereItLeadsToAnAutosaveFolder) {
    set({{autoCleanUseCriteriaSize, true}, {autoCleanCriteriaSize, 0}, {guardMinutes, 0}});
    const QString projects = home().home() + "/Films";
    home().writeFile(projects + "/Wedding/Wedding-v1.prproj", "real work");
    home().writeFile(projects + "/Wedding/Wedding-v2.prproj", "real work");
    const QString moved = home().home() + "/Big/Adobe Premiere Pro Auto-Save";
    autosaves("Edit", {3, 2});
    ASSERT_TRUE(QDir().mkpath(home().home() + "/Big") && QDir().rename(location, moved) &&
                QFile::link(projects, location));
    const QStringList before = listing();
    const QString missing = home().home() + "/Gone/Adobe Premiere Pro Auto-Save";
    const Outcome gone = run({"-clean", missing});
    EXPECT_EQ(gone.exitCode, 1);
    EXPECT_TRUE(gone.err.contains("Error: The autosave path " + missing + " does not exist."))
        << gone.err.toStdString();
    EXPECT_TRUE(lastRun("clean").startsWith("failed: ")) << lastRun("clean").toStdString();
    const Outcome unknown = run({"-trash", "--force"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.contains("Usage: vestry-helper")) << unknown.err.toStdString();
    const Outcome refused = run({"-clean", location});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(
        refused.err.contains("Error: The autosave path " + location + " leads to " + projects +
                             ", which is not an autosave location of the same kind: nothing is cleaned."))
        << refused.err.toStdString();
    EXPECT_EQ(listing(), before);

    ASSERT_TRUE(QFile::remove(location) && QFile::link(moved, location));
    EXPECT_EQ(run({"-clean", location}).exitCode, 0);
    EXPECT_FALSE(QFileInfo::exists(moved + "/Edit/Edit-1.prproj"));
    EXPECT_TRUE(QFileInfo::exists(moved + "/Edit/Edit-2.prproj"));
}

// Run as nobody, with two autosaves a one-day limit thins out. A cache folder left to root (a run
// under sudo): every run would fail to lock, so that is a failure, never "ok: skipped" as when
// another run is busy. Then a folder nobody may not take files out of: without a window to ask
// in, nothing asks.
TEST_F(HelperProgram, ARunThatCannotLockAtAllOrMoveAFileFailsNamingTheCause) {
    if (::getuid() != 0 || !QFileInfo("/usr/bin/setpriv").isExecutable())
        GTEST_SKIP() << "needs root to run the helper as the user nobody";
    set({{autoCleanUseCriteriaAge, true}, {autoCleanCriteriaAge, 1}});
    autosaves("Edit", {3, 2});
    ASSERT_EQ(runProgram("chmod", {"-R", "a+rwX", home().root()}).exitCode, 0);
    const auto cleanAsNobody = [&] {
        return run(setprivAsNobody() + QStringList{VESTRY_HELPER_PROGRAM, "-clean", location}, QString(),
                   "/usr/bin/setpriv");
    };
    const QFile::Permissions readOnlyToOthers =
        QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
    const QString cache = home().home() + "/.cache";
    ASSERT_TRUE(QDir().mkpath(cache) && QFile::setPermissions(cache, readOnlyToOthers));
    Outcome result = cleanAsNobody();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.out.endsWith(cache + "/Vestry/locks: Permission denied\n"))
        << result.out.toStdString();
    EXPECT_TRUE(lastRun("clean").startsWith("failed: Unable to lock")) << lastRun("clean").toStdString();
    EXPECT_EQ(left(), (QStringList{"Edit/Edit-1.prproj", "Edit/Edit-2.prproj"}));

    ASSERT_TRUE(QFile::setPermissions(cache, readOnlyToOthers | QFile::WriteOther) &&
                QFile::setPermissions(location + "/Edit", readOnlyToOthers));
    result = cleanAsNobody();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(left(), (QStringList{"Edit/Edit-1.prproj", "Edit/Edit-2.prproj"}));
    EXPECT_TRUE(
        result.out.contains(QRegularExpression("^Unable to move " + QRegularExpression::escape(location) +
                                                   "/Edit/Edit-1.prproj .*: Permission denied; "
                                                   "moved 0 autosaves \\(0 B\\) to the Trash$",
                                               QRegularExpression::MultilineOption)))
        << result.out.toStdString();
}

// A location another run is working on: the run fails naming the holder, and says what it
// did before, in one sentence.
TEST_F(HelperProgram, ALocationAnotherRunHoldsFailsTheRunNamingTheHolder) {
    set({{autoCleanUseCriteriaAge, true}, {autoCleanCriteriaAge, 1}});
    autosaves("Edit", {3, 2});
    QString error;
    const auto held = LocationLock::acquire(location, "a prune", std::chrono::milliseconds(0), &error);
    ASSERT_TRUE(held) << error.toStdString();
    RunOptions waiting = options();
    waiting.environment.insert("VESTRY_LOCK_WAIT_MS", "200");
    EXPECT_EQ(runProgram(VESTRY_HELPER_PROGRAM, {"-clean", location}, waiting).exitCode, 1);
    EXPECT_EQ(lastRun("clean"),
              QString("failed: %1 is busy: another Vestry run (process %2, a prune) is working "
                      "on it. Try again when it has finished; moved 0 autosaves (0 B) to the Trash")
                  .arg(location)
                  .arg(QCoreApplication::applicationPid()));
    EXPECT_EQ(left(), (QStringList{"Edit/Edit-1.prproj", "Edit/Edit-2.prproj"}));
}

// The Trash renamed the project file; its record keeps the name it had. Odd things in the Trash
// neither block nor stop the run: a named pipe for a record (it blocked the run for good), a
// folder named like a project file, a project file without a record (which counts by its name).
TEST_F(HelperProgram, AProjectFileInTheTrashTakesItsProjectsAutosavesAndOddItemsThereNeitherBlockNorStop) {
    set({{autoRemove, true},
         {autoRemoveUseCriteria, 1},
         {autoRemoveUseCriteriaTotalCount, true},
         {autoRemoveCriteriaTotalCount, 1},
         {autosavePaths, QStringList{location}}});
    autosaves("Edit", {3, 2, 1});
    autosaves("Other", {3, 2});
    autosave("Orphan/Orphan-1.prproj", 3);
    trashRecord(".local/share/Trash/", "Edit 2.prproj",
                QUrl::toPercentEncoding(home().home() + "/Projects/Edit.prproj", "/"));
    const QString trash = home().home() + "/.local/share/Trash/";
    home().writeFile(trash + "files/Orphan.prproj", "no record");
    home().writeFile(trash + "files/Pipe.prproj", "its record is a pipe");
    ASSERT_EQ(::mkfifo(QFile::encodeName(trash + "info/Pipe.prproj.trashinfo").constData(), 0600), 0);
    ASSERT_TRUE(QDir().mkpath(trash + "files/Folder.prproj"));

    // All but the newest with the count limit; everything with rule row 0.
    RunOptions limited = options();
    limited.timeoutMs = 20000;
    const Outcome first = runProgram(VESTRY_HELPER_PROGRAM, {"-trash"}, limited);
    EXPECT_TRUE(first.finished && !first.leftBehind);
    ASSERT_EQ(first.exitCode, 0) << first.err.toStdString();
    EXPECT_EQ(left(), (QStringList{"Edit/Edit-3.prproj", "Orphan/Orphan-1.prproj", "Other/Other-1.prproj",
                                   "Other/Other-2.prproj"}));
    EXPECT_TRUE(lastRun("trash").startsWith("ok: moved 2 autosaves")) << lastRun("trash").toStdString();
    set({{autoRemoveUseCriteria, 0}});
    const Outcome result = run({"-trash"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.contains("): its project file is in the Trash\n")) << result.out.toStdString();
    EXPECT_EQ(left(), (QStringList{"Other/Other-1.prproj", "Other/Other-2.prproj"}));
}

TEST_F(HelperProgram, AProjectFileInAnotherVolumesTrashCounts) {
    Tmpfs volume(home().home() + "/Volume", "size=4m");
    if (!volume.mounted())
        GTEST_SKIP() << volume.why().toStdString();
    location = home().home() + "/Volume/Adobe Premiere Pro Auto-Save";
    set({{autoRemove, true}, {autosavePaths, QStringList{location}}});
    autosaves("Edit", {2, 1});
    const QString trash = QString("Volume/.Trash-%1/").arg(::getuid());
    trashRecord(trash, "Edit.prproj", "Edit.prproj"); // relative to the volume's top

    const Outcome result = run({"-trash"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(left().isEmpty()) << result.out.toStdString();
    EXPECT_TRUE(QFile::exists(home().home() + "/" + trash + "files/Edit-2.prproj"));
}

TEST_F(HelperProgram, TheRecentWriteGuardKeepsWhatWasJustWrittenCountsItInTheSizeAndSaysWhyInADryRun) {
    // 3 MB against a 1 MB limit: the newest stays anyway, the two older ones break it, but
    // Cut-2 was written three minutes ago.
    set({{autoCleanUseCriteriaSize, true}, {autoCleanCriteriaSize, 1}});
    autosave("Cut/Cut-1.prproj", 5, 1024 * 1024);
    autosave("Cut/Cut-2.prproj", 4, 1024 * 1024, 3);
    autosave("Cut/Cut-3.prproj", 3, 1024 * 1024);

    const ProgramRun dry = run({"-clean", location, "--dry-run"});
    ASSERT_EQ(dry.exitCode, 0) << dry.err.toStdString();
    const QString cut2 = location + "/Cut/Cut-2.prproj";
    EXPECT_TRUE(dry.out.contains("would move to the Trash: " + location + "/Cut/Cut-1.prproj"))
        << dry.out.toStdString();
    EXPECT_TRUE(dry.out.contains(QRegularExpression(
        "\nkeep: " + QRegularExpression::escape(cut2) +
        " \\(1 MB, created [^)]+\\): written 3 minutes ago; the guard keeps what was written in the last "
        "10 minutes\n")))
        << dry.out.toStdString();
    EXPECT_FALSE(dry.out.contains("Trash: " + cut2));
    EXPECT_EQ(left().size(), 3);

    ASSERT_EQ(run({"-clean", location}).exitCode, 0);
    EXPECT_EQ(left(), (QStringList{"Cut/Cut-2.prproj", "Cut/Cut-3.prproj"}));

    // 0 switches the guard off: still 2 MB, so Cut-2 goes now.
    set({{guardMinutes, 0}});
    ASSERT_EQ(run({"-clean", location}).exitCode, 0);
    EXPECT_EQ(left(), QStringList{"Cut/Cut-3.prproj"});
}

} // namespace

TEST_F(HelperProgram, MarksItsRunsInTheSharedSettingsAndReportsACrashOfTheLastOne) {
    ASSERT_EQ(run({"-trash"}).exitCode, 0);
    BMSettings& settings = BMSettings::standard();
    settings.synchronize();
    const QDateTime launch = settings.value("launch").toDateTime();
    ASSERT_TRUE(launch.isValid());
    EXPECT_GE(settings.value("exit").toDateTime(), launch);
    EXPECT_TRUE(settings.boolValue(autoClean)); // the window's settings are kept

    // The last run ended without its "exit", and left a report.
    settings.removeValue("exit");
    settings.synchronize();
    home().writeHomeFile(".local/state/DiagnosticReports/Vestry_2026-01-01-000000-1.crash", "report");
    ASSERT_EQ(run({"-trash"}).exitCode, 0);
    QByteArray logs;
    for (const char* name : {"Vestry.task.1.log", "Vestry.task.2.log"})
        logs += readFile(home().home() + "/.local/state/Brightmoor/" + name);
    EXPECT_TRUE(logs.contains("Application crashed on last launch"));
}
