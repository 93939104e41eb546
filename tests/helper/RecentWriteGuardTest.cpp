// The background clean-up leaves alone what an editor wrote a moment ago: the built helper on
// real files whose dates are set, in a temporary home.
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "support/MacMetadata.h"
#include "support/Programs.h"
#include "support/TempHome.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

namespace {

using namespace SettingsKey;

class RecentWriteGuardRun : public TempHomeTest {
protected:
    void SetUp() override {
        TempHomeTest::SetUp();
        if (actingForAnotherConsoleUser())
            GTEST_SKIP() << "running as root for another console user";
        if (!setDosAttrib(home().writeFile("probe"), dosAttribRecord(4, QDateTime::currentDateTimeUtc())))
            GTEST_SKIP() << "the file system refuses user extended attributes (the dates of autosaves)";
        location = home().home() + "/Share/Adobe Premiere Pro Auto-Save";
        for (const auto& [key, value] : std::initializer_list<std::pair<const char*, QVariant>>{
                 {autoClean, true}, {autoCleanUseCriteriaSize, true}, {autoCleanCriteriaSize, 1}})
            BMSettings::standard().setValue(key, value);
        BMSettings::standard().synchronize();
    }
    // 1 MB, created days ago, last written minutes ago.
    void autosave(const QString& relative, int daysAgo, int minutesAgo) {
        const QString path = location + "/" + relative;
        home().writeFile(path);
        ASSERT_TRUE(QFile::resize(path, 1024 * 1024));
        const QDateTime now = QDateTime::currentDateTimeUtc();
        ASSERT_TRUE(setDosAttrib(path, dosAttribRecord(4, now.addDays(-daysAgo))) &&
                    keepOriginalModificationTime(path, now.addSecs(-60 * minutesAgo)));
    }
    ProgramRun clean(const QStringList& extra = {}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "en_US.UTF-8");
        return runProgram(VESTRY_HELPER_PROGRAM, QStringList{"-clean", location} + extra,
                          {environment, home().home()});
    }
    QStringList left() const {
        QStringList names;
        for (QDirIterator it(location, QDir::Files, QDirIterator::Subdirectories); it.hasNext();)
            names << it.next().mid(location.size() + 1);
        names.sort();
        return names;
    }

    QString location;
};

TEST_F(RecentWriteGuardRun, KeepsWhatWasJustWrittenCountsItInTheSizeAndSaysWhyInADryRun) {
    // 3 MB against a 1 MB limit: the newest stays anyway, the two older ones break it, but
    // Cut-2 was written three minutes ago.
    autosave("Cut/Cut-1.prproj", 5, 60 * 24 * 5);
    autosave("Cut/Cut-2.prproj", 4, 3);
    autosave("Cut/Cut-3.prproj", 3, 60 * 24 * 3);

    const ProgramRun dry = clean({"--dry-run"});
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

    ASSERT_EQ(clean().exitCode, 0);
    EXPECT_EQ(left(), (QStringList{"Cut/Cut-2.prproj", "Cut/Cut-3.prproj"}));

    // 0 switches the guard off: still 2 MB, so Cut-2 goes now.
    BMSettings::standard().setValue(guardMinutes, 0);
    BMSettings::standard().synchronize();
    ASSERT_EQ(clean().exitCode, 0);
    EXPECT_EQ(left(), QStringList{"Cut/Cut-3.prproj"});
}

} // namespace
