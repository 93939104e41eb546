// vestry list, run as a user runs it: the built program in a subprocess, with its home and
// XDG folders inside the test's temporary folder.
#include "catalogue/OutlineText.h"
#include "foundation/PlistFile.h"
#include "foundation/platform/Platform.h"
#include "foundation/platform/linux/LinuxPlatform.h"
#include "support/TempHome.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTimeZone>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

struct Outcome {
    int exitCode = -1;
    QString out;
    QString err;
};

QString writeFile(const QString& path, qint64 size) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(QByteArray(size, 'x'));
    return path;
}

} // namespace

class ListCommandTest : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        // As root working for another user at the console, the program would keep its
        // settings in that user's home, outside this test's folder.
        LinuxPlatform real;
        if (real.userId() == 0 && real.consoleUser() != real.userName())
            GTEST_SKIP() << "running as root for another console user";
        m_premiere = home().home() + "/Documents/Adobe/Premiere Pro/Adobe Premiere Pro Auto-Save";
        m_attic = home().home() + "/Avid Attic";
        writeFile(m_premiere + "/Documentary/Documentary-1.prproj", 1536);
        writeFile(m_premiere + "/Documentary/Documentary-2.prproj", 1024);
        writeFile(m_premiere + "/Promo-1.prproj", 1023);
        writeFile(m_attic + "/jo/Bins/Selects/Selects.avb", 4096);
        QFile::link(m_attic + "/nowhere", m_attic + "/jo/Bins/Selects/Broken.avb");
    }

    Outcome run(const QStringList& arguments, const QString& workingFolder = QString()) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        environment.insert("TZ", "UTC");
        process.setProcessEnvironment(environment);
        if (!workingFolder.isEmpty())
            process.setWorkingDirectory(workingFolder);
        process.start(QStringLiteral(VESTRY_PROGRAM), QStringList{"list"} + arguments);
        Outcome result;
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
            ADD_FAILURE() << "vestry list did not finish";
            return result;
        }
        result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    static QJsonObject json(const Outcome& result) {
        QJsonParseError error{};
        const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << result.out.toStdString();
        return document.object();
    }

    static QStringList projectNames(const QJsonObject& catalogue) {
        QStringList names;
        for (const QJsonValue& project : catalogue["projects"].toArray())
            names << project["name"].toString();
        return names;
    }

    static QDateTime created(const QString& path) { return Platform::current().fileFacts(path)->created; }

    QString m_premiere;
    QString m_attic;
};

TEST_F(ListCommandTest, TextShowsTheOutlinesCellsAndTotals) {
    const Outcome result = run({m_premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const OutlineText text(QLocale(QLocale::English, QLocale::UnitedStates), QTimeZone::utc());
    const QString first = m_premiere + "/Documentary/Documentary-1.prproj";
    const QString second = m_premiere + "/Documentary/Documentary-2.prproj";
    const QString loose = m_premiere + "/Promo-1.prproj";
    auto range = [&](const QString& a, const QString& b) {
        return text.projectDateText(std::min(created(a), created(b)), std::max(created(a), created(b)));
    };
    const QStringList expected{"Documentary              2.5 KB  " + range(first, second),
                               "  Documentary-1.prproj   1.5 KB  " + text.itemDateText(created(first)),
                               "  Documentary-2.prproj     1 KB  " + text.itemDateText(created(second)),
                               "Promo                   1,023 B  " + text.itemDateText(created(loose)),
                               "  Promo-1.prproj        1,023 B  " + text.itemDateText(created(loose)),
                               "Total: 2 projects, 3 autosaves, 3,583 bytes (3.5 KB)",
                               ""};
    EXPECT_EQ(result.out.split('\n'), expected) << result.out.toStdString();
    EXPECT_TRUE(result.err.trimmed().isEmpty()) << result.err.toStdString();
}

TEST_F(ListCommandTest, JsonCarriesEveryFieldInScanOrder) {
    const Outcome result = run({"--json", m_attic, m_premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject catalogue = json(result);
    EXPECT_EQ(catalogue.keys(), QStringList{"projects"});
    EXPECT_EQ(projectNames(catalogue), (QStringList{"jo", "Documentary", "Promo"}));

    const QJsonObject jo = catalogue["projects"].toArray()[0].toObject();
    EXPECT_EQ(jo.keys(), (QStringList{"endDate", "items", "name", "path", "size", "startDate", "type"}));
    EXPECT_EQ(jo["path"].toString(), m_attic + "/jo");
    EXPECT_EQ(jo["type"].toInt(-1), 3);
    EXPECT_EQ(jo["size"].toDouble(), 4096.0);
    const QString selects = m_attic + "/jo/Bins/Selects/Selects.avb";
    const QString iso = created(selects).toUTC().toString(Qt::ISODate);
    EXPECT_TRUE(iso.endsWith('Z'));
    EXPECT_EQ(jo["startDate"].toString(), iso);
    EXPECT_EQ(jo["endDate"].toString(), iso);

    const QJsonArray items = jo["items"].toArray();
    ASSERT_EQ(items.size(), 2);
    // The dangling link has no attributes: listed without date or size.
    const QJsonObject broken = items[0].toObject();
    EXPECT_EQ(broken.keys(), (QStringList{"createdDate", "name", "path", "size", "type"}));
    EXPECT_EQ(broken["name"].toString(), "Broken.avb");
    EXPECT_TRUE(broken["createdDate"].isNull());
    EXPECT_EQ(broken["size"].toDouble(-1), 0.0);
    const QJsonObject file = items[1].toObject();
    EXPECT_EQ(file["path"].toString(), selects);
    EXPECT_EQ(file["createdDate"].toString(), iso);
    EXPECT_EQ(file["size"].toDouble(), 4096.0);
    EXPECT_EQ(file["type"].toInt(-1), 3);
    // Sizes are plain byte counts.
    EXPECT_TRUE(result.out.contains("\"size\":4096,")) << result.out.toStdString();
}

struct SortRow {
    const char* rowName;
    QStringList arguments;
    QStringList projects;
    QStringList firstProjectItems;
};

class ListCommandSort : public ListCommandTest, public ::testing::WithParamInterface<SortRow> {};

TEST_P(ListCommandSort, UsesTheOutlinesOrder) {
    const Outcome result =
        run(QStringList{"--json"} + GetParam().arguments + QStringList{m_attic, m_premiere});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject catalogue = json(result);
    EXPECT_EQ(projectNames(catalogue), GetParam().projects);
    QStringList items;
    for (const QJsonValue& item : catalogue["projects"].toArray()[0].toObject()["items"].toArray())
        items << item["name"].toString();
    EXPECT_EQ(items, GetParam().firstProjectItems);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ListCommandSort,
    ::testing::Values(
        SortRow{"ScanOrderWithoutSort", {}, {"jo", "Documentary", "Promo"}, {"Broken.avb", "Selects.avb"}},
        SortRow{"Name",
                {"--sort", "name"},
                {"Documentary", "jo", "Promo"},
                {"Documentary-1.prproj", "Documentary-2.prproj"}},
        SortRow{"NameDescending",
                {"--sort", "name", "--descending"},
                {"Promo", "jo", "Documentary"},
                {"Promo-1.prproj"}},
        SortRow{"Size", {"--sort", "size"}, {"Promo", "Documentary", "jo"}, {"Promo-1.prproj"}},
        SortRow{"SizeDescending",
                {"--descending", "--sort", "size"},
                {"jo", "Documentary", "Promo"},
                {"Selects.avb", "Broken.avb"}}),
    [](const ::testing::TestParamInfo<SortRow>& info) { return std::string(info.param.rowName); });

struct FailureRow {
    const char* rowName;
    QStringList arguments; // "@" stands for the test's home
    int exitCode;
    const char* message;
};

class ListCommandFailure : public ListCommandTest, public ::testing::WithParamInterface<FailureRow> {};

TEST_P(ListCommandFailure, ExplainsOnStandardError) {
    const FailureRow& row = GetParam();
    writeFile(home().home() + "/Autosave Vault.txt", 1);
    QStringList arguments;
    for (QString argument : row.arguments)
        arguments << argument.replace("@", home().home());
    const Outcome result = run(arguments);
    EXPECT_EQ(result.exitCode, row.exitCode);
    EXPECT_TRUE(result.err.contains(QString::fromUtf8(row.message).replace("@", home().home())))
        << result.err.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ListCommandFailure,
    ::testing::Values(
        FailureRow{
            "MissingFolder", {"@/Gone/Avid Attic"}, 1, "vestry list: @/Gone/Avid Attic: no such folder"},
        FailureRow{
            "NotAFolder", {"@/Autosave Vault.txt"}, 1, "vestry list: @/Autosave Vault.txt: not a folder"},
        FailureRow{"NotALocation",
                   {"@/Documents"},
                   1,
                   "vestry list: @/Documents: not an autosave location: its path must end with \"Autosave "
                   "Vault\", "
                   "\"Adobe Premiere Pro Auto-Save\", \"Avid Attic\" or \".fcpbundle\"\n"},
        FailureRow{"TrailingSlash", {"@/Avid Attic/"}, 1, "(write it without the trailing \"/\")"},
        FailureRow{"UnknownSortKey", {"--sort", "kind"}, 2, "--sort"},
        FailureRow{"DescendingNeedsSort", {"--descending"}, 2, "--descending requires --sort"},
        FailureRow{"UnknownOption", {"--colour"}, 2, "--colour"}),
    [](const ::testing::TestParamInfo<FailureRow>& info) { return std::string(info.param.rowName); });

TEST_F(ListCommandTest, ListsWhatItCanAndStillFails) {
    const Outcome result = run({"--json", home().home() + "/Gone/Avid Attic", m_attic});
    EXPECT_EQ(result.exitCode, 1);
    // Standard output holds the document and nothing else.
    EXPECT_EQ(projectNames(json(result)), QStringList{"jo"});
    EXPECT_TRUE(result.err.contains("no such folder"));
}

TEST_F(ListCommandTest, RelativePathsAreTakenFromTheWorkingFolder) {
    const Outcome result = run({"--json", "Avid Attic"}, home().home());
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(json(result)["projects"].toArray()[0].toObject()["path"].toString(), m_attic + "/jo");
}

TEST_F(ListCommandTest, WithoutPathsListsTheKnownLocationsAndTheLogSaysSo) {
    const QString settings = home().home() + "/.config/com.brightmoor.Vestry.plist";
    ASSERT_TRUE(
        PlistFile::writeXml(settings, QVariantMap{{"autosavePaths", QVariantList{m_premiere}},
                                                  {"manualPaths", QVariantList{m_attic, m_premiere}}}));
    const Outcome result = run({"--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(projectNames(json(result)), (QStringList{"Documentary", "Promo", "jo"}));

    // The first location that listed became the autosave folder, written as the window does.
    const QVariantMap stored = PlistFile::readDictionary(settings).value_or(QVariantMap());
    EXPECT_EQ(stored.value("autosaveFolder").toString(),
              "~/Documents/Adobe/Premiere Pro/Adobe Premiere Pro Auto-Save");

    QFile log(home().home() + "/.local/state/Brightmoor/Vestry.1.log");
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QString logged = QString::fromUtf8(log.readAll());
    EXPECT_TRUE(logged.contains("Checking " + m_premiere + " for autosaves...")) << logged.toStdString();
    EXPECT_TRUE(logged.contains("Checking " + m_attic + " for autosaves...")) << logged.toStdString();
}

TEST_F(ListCommandTest, NothingKnownListsNothing) {
    const Outcome result = run({});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, "Total: 0 projects, 0 autosaves, 0 bytes (0 B)\n");
}
