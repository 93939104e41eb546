// vestry list as a user meets it: the built program in a subprocess, with its home and XDG
// folders inside the test's temporary folder.
#include "catalogue/OutlineText.h"
#include "foundation/PlistFile.h"
#include "foundation/platform/Platform.h"
#include "foundation/platform/linux/LinuxPlatform.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTimeZone>

#include <gtest/gtest.h>

struct Outcome {
    int exitCode = -1;
    QString out;
    QString err;
};

class ListCommandTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        // Root working for another user at the console keeps its settings in that user's home.
        LinuxPlatform real;
        if (real.userId() == 0 && real.consoleUser() != real.userName())
            GTEST_SKIP() << "running as root for another console user";
        premiere = home().home() + "/Documents/Adobe Premiere Pro Auto-Save";
        attic = home().home() + "/Avid Attic";
        const std::pair<QString, int> files[] = {{premiere + "/Documentary/Documentary-1.prproj", 1536},
                                                 {premiere + "/Documentary/Documentary-2.prproj", 1024},
                                                 {premiere + "/Promo-1.prproj", 1023},
                                                 {attic + "/jo/Bins/Selects/Selects.avb", 4096}};
        for (const auto& [path, size] : files) {
            QDir().mkpath(QFileInfo(path).path());
            QFile file(path);
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(size, 'x'));
        }
        QFile::link(attic + "/nowhere", attic + "/jo/Bins/Selects/Broken.avb");
    }

    Outcome run(const QStringList& arguments, const QString& workingFolder = QString()) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        environment.insert("TZ", "UTC");
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(workingFolder.isEmpty() ? home().root() : workingFolder);
        process.start(VESTRY_PROGRAM, QStringList{"list"} + arguments);
        Outcome result;
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            ADD_FAILURE() << "vestry list did not finish";
        } else if (process.exitStatus() == QProcess::NormalExit) {
            result.exitCode = process.exitCode();
        }
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    // The projects of a --json run; the whole of standard output must be the document.
    static QJsonArray projects(const Outcome& result) {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << result.out.toStdString();
        EXPECT_EQ(document.object().keys(), QStringList{"projects"});
        return document.object()["projects"].toArray();
    }
    static QStringList names(const QJsonArray& array) {
        QStringList names;
        for (const QJsonValue& each : array)
            names << each.toObject()["name"].toString();
        return names;
    }
    static QDateTime created(const QString& path) { return Platform::current().fileFacts(path)->created; }

    QString premiere;
    QString attic;
};

TEST_F(ListCommandTest, TextShowsTheOutlinesCellsAndTotals) {
    const Outcome result = run({premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const OutlineText text(QLocale(QLocale::English, QLocale::UnitedStates), QTimeZone::utc());
    const QDateTime first = created(premiere + "/Documentary/Documentary-1.prproj");
    const QDateTime second = created(premiere + "/Documentary/Documentary-2.prproj");
    const QString loose = text.itemDateText(created(premiere + "/Promo-1.prproj"));
    EXPECT_EQ(
        result.out.split('\n'),
        (QStringList{"Documentary              2.5 KB  " +
                         text.projectDateText(std::min(first, second), std::max(first, second)),
                     "  Documentary-1.prproj   1.5 KB  " + text.itemDateText(first),
                     "  Documentary-2.prproj     1 KB  " + text.itemDateText(second),
                     "Promo                   1,023 B  " + loose, "  Promo-1.prproj        1,023 B  " + loose,
                     "Total: 2 projects, 3 autosaves, 3,583 bytes (3.5 KB)", ""}));
    EXPECT_TRUE(result.err.isEmpty()) << result.err.toStdString();
}

TEST_F(ListCommandTest, JsonCarriesEveryFieldInScanOrder) {
    const Outcome result = run({"--json", attic, premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonArray catalogue = projects(result);
    EXPECT_EQ(names(catalogue), (QStringList{"jo", "Documentary", "Promo"}));
    const QString selects = attic + "/jo/Bins/Selects/Selects.avb";
    const QString iso = created(selects).toUTC().toString(Qt::ISODate);
    ASSERT_TRUE(iso.endsWith('Z'));
    const QJsonObject jo = catalogue[0].toObject();
    const QJsonArray items = jo["items"].toArray();
    EXPECT_EQ(jo, (QJsonObject{{"name", "jo"},
                               {"path", attic + "/jo"},
                               {"type", 3},
                               {"size", 4096},
                               {"startDate", iso},
                               {"endDate", iso},
                               {"items", items}}));
    // The dangling link has no attributes: listed without date or size.
    EXPECT_EQ(items, (QJsonArray{QJsonObject{{"name", "Broken.avb"},
                                             {"path", attic + "/jo/Bins/Selects/Broken.avb"},
                                             {"type", 3},
                                             {"size", 0},
                                             {"createdDate", QJsonValue::Null}},
                                 QJsonObject{{"name", "Selects.avb"},
                                             {"path", selects},
                                             {"type", 3},
                                             {"size", 4096},
                                             {"createdDate", iso}}}));
    EXPECT_TRUE(result.out.contains("\"size\":4096,")); // plain byte counts
}

TEST_F(ListCommandTest, SortsAsTheOutlineDoes) {
    const QJsonArray byName = projects(run({"--json", "--sort", "name", attic, premiere}));
    EXPECT_EQ(names(byName), (QStringList{"Documentary", "jo", "Promo"}));
    const QJsonArray bySize = projects(run({"--json", "--descending", "--sort", "size", attic, premiere}));
    EXPECT_EQ(names(bySize), (QStringList{"jo", "Documentary", "Promo"}));
    EXPECT_EQ(names(bySize[0].toObject()["items"].toArray()), (QStringList{"Selects.avb", "Broken.avb"}));
}

struct FailureRow {
    const char* rowName;
    QStringList arguments; // "@" stands for the home
    int exitCode;
    const char* message;
};

void PrintTo(const FailureRow& row, std::ostream* out) {
    *out << row.rowName;
}

class ListCommandFailure : public ListCommandTest, public ::testing::WithParamInterface<FailureRow> {};

TEST_P(ListCommandFailure, ExplainsOnStandardError) {
    QFile(home().home() + "/Autosave Vault.txt").open(QIODevice::WriteOnly);
    QStringList arguments = GetParam().arguments;
    arguments.replaceInStrings("@", home().home());
    const Outcome result = run(arguments);
    EXPECT_EQ(result.exitCode, GetParam().exitCode);
    EXPECT_TRUE(result.err.contains(QString::fromUtf8(GetParam().message).replace("@", home().home())))
        << result.err.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ListCommandFailure,
    ::testing::Values(
        FailureRow{
            "MissingFolder", {"@/Gone/Avid Attic"}, 1, "vestry list: @/Gone/Avid Attic: no such folder\n"},
        FailureRow{
            "NotAFolder", {"@/Autosave Vault.txt"}, 1, "vestry list: @/Autosave Vault.txt: not a folder\n"},
        FailureRow{
            "NotALocation",
            {"@/Documents"},
            1,
            "vestry list: @/Documents: not an autosave location: its path must end with \"Autosave Vault\", "
            "\"Adobe Premiere Pro Auto-Save\", \"Avid Attic\" or \".fcpbundle\"\n"},
        FailureRow{"TrailingSlash", {"@/Avid Attic/"}, 1, "(write it without the trailing \"/\")"},
        FailureRow{"UnknownSortKey", {"--sort", "kind"}, 2, "--sort"},
        FailureRow{"DescendingNeedsSort", {"--descending"}, 2, "--descending requires --sort"}),
    [](const auto& info) { return std::string(info.param.rowName); });

TEST_F(ListCommandTest, ListsWhatItCanAndStillFails) {
    const Outcome result = run({"--json", home().home() + "/Gone/Avid Attic", "Avid Attic"}, home().home());
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(projects(result)[0].toObject()["path"].toString(),
              attic + "/jo"); // relative to the working folder
}

TEST_F(ListCommandTest, WithoutPathsListsTheKnownLocationsAndTheLogSaysSo) {
    EXPECT_EQ(run({}).out, "Total: 0 projects, 0 autosaves, 0 bytes (0 B)\n");
    const QString settings = home().home() + "/.config/com.brightmoor.Vestry.plist";
    ASSERT_TRUE(PlistFile::writeXml(settings, QVariantMap{{"autosavePaths", QVariantList{premiere}},
                                                          {"manualPaths", QVariantList{attic, premiere}}}));
    const Outcome result = run({"--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(names(projects(result)), (QStringList{"Documentary", "Promo", "jo"}));
    // The first location that listed became the autosave folder, as in the window.
    EXPECT_EQ(PlistFile::readDictionary(settings)->value("autosaveFolder"),
              "~/Documents/Adobe Premiere Pro Auto-Save");
    QFile log(home().home() + "/.local/state/Brightmoor/Vestry.1.log");
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QString logged = QString::fromUtf8(log.readAll());
    EXPECT_TRUE(logged.contains("Checking " + attic + " for autosaves...")) << logged.toStdString();
}
