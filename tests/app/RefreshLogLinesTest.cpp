// What a rebuild of the catalogue writes to the log, and which rebuilds save the expanded rows
// first, as each trigger sets one off.
#include "WindowFixture.h"
#include "app/PreferencesWindow.h"
#include "support/LogLines.h"

namespace {

struct RefreshRow {
    const char* rowName;
    void (*trigger)(AppController&); // after the start; none: the start itself
    bool rebuilds;
    QStringList expected;
};

// Every line a rebuild or its triggers write: a row's lines are these, in order, and no others.
const QStringList kRefreshLines{"Application became active - repopulating...",
                                "User switched tabs - refreshing...",
                                "Populating autosaves...",
                                "Saving expanded items...",
                                "Updating data...",
                                "Refreshing outline view...",
                                "Loading expanded items..."};

const QStringList kRebuild{"Populating autosaves...", "Updating data...", "Refreshing outline view...",
                           "Loading expanded items..."};

class RefreshLogLines : public WindowTest, public ::testing::WithParamInterface<RefreshRow> {};

} // namespace

TEST_P(RefreshLogLines, AreWrittenAsTheyRead) {
    const RefreshRow& row = GetParam();
    home().writeHomeFile("Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj");
    settings().setValue(SettingsKey::autosavePaths, QStringList{premiere()});
    BMLog::createNewLog();
    start();
    if (row.trigger) {
        BMLog::createNewLog();
        if (row.rebuilds) {
            expectRebuild([&] { row.trigger(*controller); });
        } else {
            row.trigger(*controller);
            controller->waitForWorkers();
        }
    }
    EXPECT_EQ(loggedOf(kRefreshLines), row.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RefreshLogLines,
    ::testing::Values(
        RefreshRow{"Launch", nullptr, true, kRebuild},
        RefreshRow{"BecomingActive", [](AppController& app) { app.applicationBecameActive(); }, true,
                   QStringList{"Application became active - repopulating...", "Populating autosaves...",
                               "Saving expanded items...", "Updating data...", "Refreshing outline view...",
                               "Loading expanded items..."}},
        RefreshRow{"ShowingTheLocationsTab",
                   [](AppController& app) {
                       app.preferencesWindow()->tabs()->setCurrentIndex(PreferencesWindow::LocationsTab);
                   },
                   true, QStringList{"User switched tabs - refreshing..."} + kRebuild},
        RefreshRow{"Terminating", [](AppController& app) { app.applicationWillTerminate(); }, false,
                   QStringList{"Saving expanded items..."}}),
    byRowName);
