// vestry prune and vestry archive as a user meets them: the built program in a subprocess,
// with its home, settings and Trash inside the test's temporary folder.
#include "catalogue/OutlineText.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "foundation/platform/Platform.h"
#include "foundation/platform/linux/LinuxPlatform.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QThread>
#include <QTimeZone>

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

namespace {

struct Outcome {
    int exitCode = -1;
    QString out;
    QString err;
};

class CommandTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        LinuxPlatform real;
        if (real.userId() == 0 && real.consoleUser() != real.userName())
            GTEST_SKIP() << "running as root for another console user";
        premiere = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
        // Created in this order a few milliseconds apart, so that the newest is known.
        for (const QString name :
             {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"}) {
            write(premiere + "/" + name, name.toUtf8().repeated(10));
            QThread::msleep(5);
        }
    }

    static void write(const QString& path, const QByteArray& contents) {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
        file.write(contents);
    }

    static QProcessEnvironment environment() {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        environment.insert("TZ", "UTC");
        return environment;
    }

    Outcome run(const QStringList& arguments) {
        QProcess process;
        process.setProcessEnvironment(environment());
        process.setWorkingDirectory(home().home());
        process.start(VESTRY_PROGRAM, arguments);
        Outcome result;
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            ADD_FAILURE() << "vestry did not finish";
        } else if (process.exitStatus() == QProcess::NormalExit) {
            result.exitCode = process.exitCode();
        }
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    QString autosave(const QString& name) const { return premiere + "/" + name; }
    QStringList autosavesLeft() const {
        QStringList left;
        for (const QString name :
             {"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"}) {
            if (QFileInfo::exists(autosave(name)))
                left << name;
        }
        return left;
    }
    QString trash() const { return home().home() + "/.local/share/Trash"; }
    // Name in the Trash -> the original path its record holds.
    QMap<QString, QString> trashRecords() const {
        QMap<QString, QString> records;
        const QDir info(trash() + "/info");
        for (const QString& name : info.entryList({"*.trashinfo"}, QDir::Files)) {
            QFile file(info.filePath(name));
            if (file.open(QIODevice::ReadOnly))
                records.insert(name.chopped(10), LinuxPlatform::originalPathFromTrashRecord(file.readAll()));
        }
        return records;
    }
    static QDateTime created(const QString& path) { return Platform::current().fileFacts(path)->created; }

    QString premiere;
};

const QStringList kAll{"Alpha/Alpha-1.prproj", "Beta/Beta-1.prproj", "Beta/Beta-2.prproj",
                       "Beta/Beta-3.prproj"};

class Prune : public CommandTest {};

struct UsageCase {
    const char* rowName;
    QStringList arguments;
    const char* complaint;
};

void PrintTo(const UsageCase& row, std::ostream* out) {
    *out << row.rowName;
}

class PruneUsage : public CommandTest, public ::testing::WithParamInterface<UsageCase> {};

class Archive : public CommandTest {
protected:
    QString destination() const { return home().home() + "/Archives/Autosaves.zip"; }
    void SetUp() override {
        CommandTest::SetUp();
        QDir().mkpath(home().home() + "/Archives");
    }
    static QStringList zipNames(const QString& path) {
        QStringList names;
        archive* reader = archive_read_new();
        archive_read_support_format_zip(reader);
        if (archive_read_open_filename(reader, QFile::encodeName(path).constData(), 1 << 16) == ARCHIVE_OK) {
            archive_entry* entry = nullptr;
            while (archive_read_next_header(reader, &entry) == ARCHIVE_OK)
                names << QString::fromUtf8(archive_entry_pathname_utf8(entry));
        }
        archive_read_free(reader);
        return names;
    }
};

struct ArchiveFailureCase {
    const char* rowName;
    std::function<void(const QString& home)> prepare;
    QString destination; // relative to the home
    QStringList paths;   // relative to the home
    const char* complaint;
};

void PrintTo(const ArchiveFailureCase& row, std::ostream* out) {
    *out << row.rowName;
}

class ArchiveFailures : public Archive, public ::testing::WithParamInterface<ArchiveFailureCase> {};

} // namespace

TEST_F(Prune, DryRunListsWhatWouldGoAndChangesNothing) {
    const Outcome result = run({"prune", "--keep", "1", "--dry-run", premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const OutlineText text(QLocale(QLocale::English, QLocale::UnitedStates), QTimeZone::utc());
    auto line = [&](const QString& name) {
        return text.formatFileSize(QFileInfo(autosave(name)).size()).rightJustified(5) + "  " +
               text.itemDateText(created(autosave(name))) + "  " + autosave(name);
    };
    // Beta-3 is the newest and stays; the rest of Beta goes, newest first.
    EXPECT_EQ(result.out.split('\n'),
              (QStringList{line("Beta/Beta-2.prproj"), line("Beta/Beta-1.prproj"),
                           "Would move 2 autosaves, 360 bytes (360 B), to the Trash", ""}));
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_FALSE(QFileInfo::exists(trash()));
    EXPECT_TRUE(result.err.isEmpty()) << result.err.toStdString();
}

TEST_F(Prune, KeepMovesTheRestToTheTrashAndReportsThemInJson) {
    // Without a PATH: every location the settings know.
    BMSettings::standard().setValue(SettingsKey::autosavePaths, QStringList{premiere});
    BMSettings::standard().synchronize();
    const QString iso1 = created(autosave("Beta/Beta-1.prproj")).toUTC().toString(Qt::ISODate);
    const QString iso2 = created(autosave("Beta/Beta-2.prproj")).toUTC().toString(Qt::ISODate);

    const Outcome result = run({"prune", "--keep", "1", "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out,
              QString("{\"removed\":[{\"path\":\"%1\",\"size\":180,\"createdDate\":\"%2\"},"
                      "{\"path\":\"%3\",\"size\":180,\"createdDate\":\"%4\"}],\"bytes\":360}\n")
                  .arg(autosave("Beta/Beta-2.prproj"), iso2, autosave("Beta/Beta-1.prproj"), iso1));
    EXPECT_EQ(autosavesLeft(), (QStringList{"Alpha/Alpha-1.prproj", "Beta/Beta-3.prproj"}));
    EXPECT_EQ(trashRecords(), (QMap<QString, QString>{{"Beta-1.prproj", autosave("Beta/Beta-1.prproj")},
                                                      {"Beta-2.prproj", autosave("Beta/Beta-2.prproj")}}));
}

TEST_F(Prune, TheAgeRuleKeepsFreshAutosaves) {
    Outcome result = run({"prune", "--older-than", "1", premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(result.out, "Moved 0 autosaves, 0 bytes (0 B), to the Trash\n");
    result = run({"prune", "--older-than", "1", "--dry-run", "--json", premiere});
    EXPECT_EQ(result.out, "{\"removed\":[],\"bytes\":0}\n");
    EXPECT_EQ(autosavesLeft(), kAll);
}

TEST_F(Prune, ALocationThatCannotBeScannedStopsEverything) {
    const Outcome result = run({"prune", "--keep", "1", premiere, home().home() + "/Nowhere"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "vestry prune: " + home().home() + "/Nowhere: no such folder\n");
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_EQ(autosavesLeft(), kAll);
}

TEST_F(Prune, ShowsProgressOnATerminalOnly) {
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

    // The same run with standard error on a pipe says nothing there.
    const Outcome piped = run({"prune", "--keep", "1", premiere});
    EXPECT_EQ(piped.exitCode, 0);
    EXPECT_TRUE(piped.err.isEmpty()) << piped.err.toStdString();
}

TEST_P(PruneUsage, IsRefusedBeforeAnythingIsTouched) {
    const Outcome result = run(QStringList{"prune"} + GetParam().arguments + QStringList{premiere});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_TRUE(result.err.contains(GetParam().complaint)) << result.err.toStdString();
    EXPECT_EQ(autosavesLeft(), kAll);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, PruneUsage,
    ::testing::Values(UsageCase{"NoRule", {}, "Exactly 1 option from [--older-than,--keep] is required"},
                      UsageCase{"BothRules", {"--keep", "2", "--older-than", "3"}, "and 2 were given"},
                      UsageCase{"KeepZero", {"--keep", "0"}, "--keep: Value 0 not in range"},
                      UsageCase{
                          "NegativeDays", {"--older-than", "-1"}, "--older-than: Value -1 not in range"}),
    [](const ::testing::TestParamInfo<UsageCase>& info) { return std::string(info.param.rowName); });

TEST_F(Archive, PacksAProjectAndAnAutosaveThenTrashesThem) {
    const Outcome result =
        run({"archive", "--to", "Archives/Autosaves.zip", "Documents/Adobe Premiere Pro Auto-Save/Beta/",
             autosave("Alpha/Alpha-1.prproj")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.startsWith("Archived 4 autosaves to " + destination() + " ("))
        << result.out.toStdString();
    EXPECT_TRUE(result.out.endsWith("); moved them to the Trash\n")) << result.out.toStdString();
    QStringList names = zipNames(destination());
    names.sort();
    EXPECT_EQ(names, (QStringList{"Alpha/", "Alpha/Alpha-1.prproj", "Beta/", "Beta/Beta-1.prproj",
                                  "Beta/Beta-2.prproj", "Beta/Beta-3.prproj"}));
    EXPECT_TRUE(autosavesLeft().isEmpty());
    EXPECT_EQ(trashRecords().value("Beta-3.prproj"), autosave("Beta/Beta-3.prproj"));
    EXPECT_FALSE(QFileInfo::exists(premiere + "/Beta"));
    EXPECT_TRUE(QFileInfo::exists(premiere)); // the location itself stays
}

TEST_F(Archive, AnEventIsNamedByItsFolder) {
    const QString event = home().home() + "/Movies/Wedding.fcpbundle/Ceremony";
    write(event + "/CurrentVersion.fcpevent", "current");
    write(event + "/Backups/Ceremony 1.fcpevent", "backup");
    const Outcome result = run({"archive", "--to", destination(), event});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(zipNames(destination()), (QStringList{"Backups/", "Backups/Ceremony 1.fcpevent"}));
    EXPECT_TRUE(QFileInfo::exists(event + "/CurrentVersion.fcpevent"));
    EXPECT_FALSE(QFileInfo::exists(event + "/Backups/Ceremony 1.fcpevent"));
}

TEST_P(ArchiveFailures, SayWhyAndRemoveNothing) {
    const ArchiveFailureCase& row = GetParam();
    if (row.prepare)
        row.prepare(home().home());
    QStringList arguments{"archive", "--to", home().home() + "/" + row.destination};
    for (const QString& path : row.paths)
        arguments << home().home() + "/" + path;
    const Outcome result = run(arguments);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.startsWith("vestry archive: ")) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(row.complaint)) << result.err.toStdString();
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_EQ(autosavesLeft(), kAll);
    EXPECT_TRUE(trashRecords().isEmpty());
    if (row.rowName != std::string("DestinationExists")) {
        EXPECT_FALSE(QFileInfo::exists(home().home() + "/" + row.destination));
    }
}

const QString kBeta = "Documents/Adobe Premiere Pro Auto-Save/Beta";
const QString kAlpha1 = "Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj";

INSTANTIATE_TEST_SUITE_P(
    Failures, ArchiveFailures,
    ::testing::Values(
        ArchiveFailureCase{"NotAZip", nullptr, "Archives/Autosaves.tar", {kBeta}, "must end in \".zip\""},
        ArchiveFailureCase{"DestinationExists",
                           [](const QString& home) {
                               QFile file(home + "/Archives/Autosaves.zip");
                               ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                           },
                           "Archives/Autosaves.zip",
                           {kBeta},
                           "already exists"},
        ArchiveFailureCase{
            "NoSuchDestinationFolder", nullptr, "Elsewhere/Autosaves.zip", {kBeta}, "no such folder"},
        ArchiveFailureCase{"NoSuchPath",
                           nullptr,
                           "Archives/Autosaves.zip",
                           {kAlpha1, "Documents/Gone.prproj"},
                           "no such file or folder"},
        ArchiveFailureCase{"OutsideAnyLocation",
                           [](const QString& home) {
                               QFile file(home + "/Documents/Cut.prproj");
                               ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                           },
                           "Archives/Autosaves.zip",
                           {kAlpha1, "Documents/Cut.prproj"},
                           "not inside an autosave location"},
        ArchiveFailureCase{"TheLocationItself",
                           nullptr,
                           "Archives/Autosaves.zip",
                           {"Documents/Adobe Premiere Pro Auto-Save"},
                           "is an autosave location"},
        ArchiveFailureCase{"NotAnAutosave",
                           [](const QString& home) {
                               QFile file(home + "/Documents/Adobe Premiere Pro Auto-Save/Beta/Notes.txt");
                               ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                           },
                           "Archives/Autosaves.zip",
                           {kBeta + "/Notes.txt"},
                           "not a project or autosave that Vestry lists"},
        ArchiveFailureCase{"TemporaryFolderBlocked",
                           [](const QString& home) {
                               QDir().mkpath(home + "/.local/share/Brightmoor");
                               QFile file(home + "/.local/share/Brightmoor/Halvern");
                               ASSERT_TRUE(file.open(QIODevice::WriteOnly));
                           },
                           "Archives/Autosaves.zip",
                           {kBeta},
                           "Error: Unable to create temporary directory "}),
    [](const ::testing::TestParamInfo<ArchiveFailureCase>& info) { return std::string(info.param.rowName); });
