// The window's filter of orphaned Premiere projects, on real gzip-compressed autosaves.
#include "LogLines.h"
#include "WindowFixture.h"
#include "support/Gzip.h"
#include "support/PremiereXml.h"

#include <QFont>
#include <QLabel>

namespace {

class OrphanFilter : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        BMLog::createNewLog();
        write("Projects/Live.prproj", "live");
        autosave("Live/Live-1.prproj", liveProject());
        autosave("Gone/Gone-1.prproj", "/Volumes/Gone/Gone.prproj");
        settings().setValue(SettingsKey::autosavePaths, QStringList{premiere()});
    }
    QString liveProject() const { return home().home() + "/Projects/Live.prproj"; }
    void autosave(const QString& name, const QString& recorded) const {
        home().writeFile(premiere(name), gzipCompressed(premiereProjectXml(recorded)));
    }
    // Turns the filter on or off from the View menu.
    void filter(bool on) const {
        ASSERT_NE(menu().showOnlyOrphans->isChecked(), on);
        menu().showOnlyOrphans->trigger();
    }
    static QStringList looks() {
        return loggedOf({"Found * orphaned project(s) among * Premiere project(s)."});
    }
    QString placeholder() const { return outline()->placeholderText(); }
    QString status() const { return controller->mainWindow()->statusLabel()->text(); }
};

} // namespace

TEST_F(OrphanFilter, ShowsOnlyOrphansFoundOnAWorkerOrSaysThereAreNoneAndEverythingAgainWhenOff) {
    start();
    EXPECT_EQ(projectNames(), (QStringList{"Gone", "Live"}));
    EXPECT_TRUE(looks().isEmpty()) << "the autosaves were read without the filter";
    select({projectIndex("Gone"), projectIndex("Live")});

    QSignalSpy found(controller.get(), &AppController::orphansFound);
    filter(true);
    // Not answered yet: the look runs on a worker, and the outline shows nothing it might hide.
    EXPECT_FALSE(controller->orphansKnown());
    EXPECT_TRUE(projectNames().isEmpty());
    EXPECT_TRUE(placeholder().startsWith("Looking for orphaned projects...")) << placeholder().toStdString();
    ASSERT_TRUE(found.wait(10000));
    EXPECT_EQ(looks().size(), 1);
    EXPECT_EQ(projectNames(), QStringList{"Gone"});
    EXPECT_EQ(selectedNames(), QStringList{"Gone"});
    EXPECT_TRUE(status().startsWith("1 project, 1 autosave") && status().endsWith("; orphaned projects only"))
        << status().toStdString();
    const QModelIndex gone = projectIndex("Gone");
    EXPECT_TRUE(controller->model()->isOrphan(*controller->model()->projectAt(gone)));
    EXPECT_TRUE(gone.data(Qt::ToolTipRole)
                    .toString()
                    .endsWith("\nIts project file no longer exists: /Volumes/Gone/Gone.prproj"))
        << gone.data(Qt::ToolTipRole).toString().toStdString();
    EXPECT_TRUE(gone.data(Qt::FontRole).value<QFont>().italic());

    // A rebuild while it is on looks again before it shows anything.
    ASSERT_TRUE(QFile::remove(liveProject()));
    expectRebuild([&] { menu().refresh->trigger(); });
    EXPECT_EQ(looks().size(), 2);
    EXPECT_EQ(projectNames(), (QStringList{"Gone", "Live"}));

    filter(false);
    write("Projects/Live.prproj", "back");
    expectRebuild([&] { menu().refresh->trigger(); });
    EXPECT_EQ(projectNames(), (QStringList{"Gone", "Live"}));
    EXPECT_EQ(looks().size(), 2);
    EXPECT_FALSE(controller->orphansKnown());
    EXPECT_FALSE(controller->model()->isOrphan(*controller->model()->projectAt(projectIndex("Gone"))));
    EXPECT_FALSE(projectIndex("Gone").data(Qt::FontRole).value<QFont>().italic());

    // With no orphan it says so, and gives back what it hid as it was.
    ASSERT_TRUE(QDir(premiere("Gone")).removeRecursively());
    expectRebuild([&] { menu().refresh->trigger(); });
    outline()->expand(projectIndex("Live"));
    filter(true);
    ASSERT_TRUE(found.wait(10000));
    EXPECT_TRUE(controller->orphansKnown());
    EXPECT_TRUE(projectNames().isEmpty());
    EXPECT_EQ(placeholder(), "No orphaned projects.");
    filter(false);
    EXPECT_EQ(projectNames(), QStringList{"Live"});
    EXPECT_EQ(placeholder(), "");
    EXPECT_TRUE(outline()->isExpanded(projectIndex("Live")));
}
