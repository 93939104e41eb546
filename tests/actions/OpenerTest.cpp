#include "ActionsFixture.h"
#include "actions/AutosaveOpener.h"
#include "catalogue/AutosaveType.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

namespace {

// Table rows print as their names.
using ::PrintTo;

using Opened = FakePlatform::Opened;
using Revealed = FakePlatform::Revealed;

class Opener : public ActionsTest {
protected:
    QString ceremony(const QString& name) const { return library() + "/Ceremony/" + name; }
    QString backup(const QString& date) const {
        return ceremony("Backups/Ceremony " + date + " 10-00.fcpevent");
    }
    QString current() const { return ceremony("CurrentVersion.fcpevent"); }
};

struct TypeCase {
    const char* rowName;
    int type;
    const char* identifier;
};

class EditorOfType : public ::testing::TestWithParam<TypeCase> {};

} // namespace

TEST_P(EditorOfType, IsTheTablesBundleIdentifier) {
    EXPECT_EQ(AutosaveOpener::bundleIdentifierForType(GetParam().type, "com.apple.FinalCutExpress"),
              GetParam().identifier);
}

INSTANTIATE_TEST_SUITE_P(Types, EditorOfType,
                         ::testing::Values(TypeCase{"FinalCut", 0, "com.apple.FinalCutExpress"},
                                           TypeCase{"Motion", 1, "com.apple.motion"},
                                           TypeCase{"Premiere", 2, "com.adobe.AdobePremierePro"},
                                           TypeCase{"Avid", 3, "com.avid.MediaComposer"},
                                           TypeCase{"FinalCutX", 4, "com.apple.FinalCut"},
                                           TypeCase{"UnknownIsFinalCut", 9, "com.apple.FinalCutExpress"},
                                           TypeCase{"NegativeIsFinalCut", -1, "com.apple.FinalCutExpress"}),
                         [](const ::testing::TestParamInfo<TypeCase>& info) {
                             return std::string(info.param.rowName);
                         });

TEST_F(Opener, FinalCutExpressOnlyWhenTheDesktopKnowsIt) {
    EXPECT_EQ(AutosaveOpener::finalCutIdentifier(), "com.apple.FinalCutPro");
    home().platform().applications.insert("com.apple.FinalCutExpress", "/Applications/Final Cut Express.app");
    EXPECT_EQ(AutosaveOpener::finalCutIdentifier(), "com.apple.FinalCutExpress");
}

TEST_F(Opener, ASingleRowOpensWithoutAQuestionOnlyWhenItIsOneAutosave) {
    const BMProjectList projects = scan();
    bool applies = false;
    EXPECT_EQ(AutosaveOpener::singleItem({projectRow(projects, "Alpha")}, &applies),
              item(projects, "Alpha-1.prproj"));
    EXPECT_TRUE(applies);
    EXPECT_EQ(AutosaveOpener::singleItem({itemRow(projects, "Beta-2.prproj")}, &applies),
              item(projects, "Beta-2.prproj"));
    EXPECT_TRUE(applies);
    EXPECT_EQ(AutosaveOpener::singleItem({projectRow(projects, "Beta")}, &applies), nullptr);
    EXPECT_FALSE(applies);
    EXPECT_EQ(AutosaveOpener::singleItem({itemRow(projects, "Alpha-1.prproj"), projectRow(projects, "Alpha")},
                                         &applies),
              nullptr);
    EXPECT_FALSE(applies);
    const BMProjectPtr empty = BMProject::projectType(2, "Empty", "/x");
    EXPECT_EQ(AutosaveOpener::singleItem({SelectedRow::ofProject(empty)}, &applies), nullptr);
    EXPECT_TRUE(applies); // a lone empty project: nothing opens and nothing is asked
}

TEST_F(Opener, ThePlanHasOneListPerEditorEachFileOnceAndEventsApart) {
    const BMProjectList projects = scan();
    const BMAutoItemPtr motion = BMAutoItem::autoItemType(AutosaveType::Motion, "Titles_2026-11-01_1030.motn",
                                                          home().home() + "/Titles.motn", {}, 1);
    const BMAutoItemPtr avid = BMAutoItem::autoItemType(AutosaveType::Avid, "Reel.avb", "/a/Reel.avb", {}, 1);
    const BMAutoItemPtr fcp = BMAutoItem::autoItemType(7, "Cut_11-01-26_1030", "/v/Cut_11-01-26_1030", {}, 1);
    const AutosaveOpener::Plan plan = AutosaveOpener::planFor(
        {projectRow(projects, "Beta"), itemRow(projects, "Beta-1.prproj"), SelectedRow::ofItem(motion),
         SelectedRow::ofItem(avid), SelectedRow::ofItem(fcp), projectRow(projects, "Ceremony")},
        "com.apple.FinalCutPro");
    EXPECT_EQ(plan.premiere,
              (QStringList{premiere() + "/Beta/Beta-1.prproj", premiere() + "/Beta/Beta-2.prproj"}));
    EXPECT_EQ(plan.motion, QStringList{motion->path()});
    EXPECT_EQ(plan.avid, QStringList{"/a/Reel.avb"});
    EXPECT_EQ(plan.finalCut, QStringList{"/v/Cut_11-01-26_1030"});
    EXPECT_EQ(plan.eventBackups, (QStringList{backup("2026-11-16"), backup("2026-11-18")}));
    EXPECT_EQ(plan.total(), 5); // the event backups are not counted
}

TEST_F(Opener, EachListGoesToItsEditorInOneCallAndEventsAreRestoredThenFinalCutXStartsOnce) {
    const BMProjectList projects = scan();
    AutosaveOpener::Plan plan = AutosaveOpener::planFor(
        {projectRow(projects, "Beta"), projectRow(projects, "Promo"), projectRow(projects, "Ceremony")},
        "com.apple.FinalCutPro");
    AutosaveOpener::open(plan);
    EXPECT_EQ(home().platform().opened(),
              (QList<Opened>{{{premiere() + "/Beta/Beta-1.prproj", premiere() + "/Beta/Beta-2.prproj",
                               premiere() + "/Promo-1.prproj", premiere() + "/Promo-2.prproj"},
                              "com.adobe.AdobePremierePro"}}));
    EXPECT_EQ(home().platform().launched(), QStringList{"com.apple.FinalCut"});
    // Both backups were put in place in turn: the last one is current, each earlier version
    // kept aside.
    EXPECT_EQ(read(current()), read(backup("2026-11-18")));
    EXPECT_EQ(read(ceremony("CurrentVersion-Backup.fcpevent")),
              "Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent");
    EXPECT_EQ(read(ceremony("CurrentVersion-Backup 2.fcpevent")), read(backup("2026-11-16")));
}

TEST_F(Opener, OneAutosaveOpensWithItsEditorAndAnEventBackupIsRestored) {
    const BMProjectList projects = scan();
    AutosaveOpener::openItem(*item(projects, "Alpha-1.prproj"), "com.apple.FinalCutPro");
    EXPECT_EQ(home().platform().opened(),
              (QList<Opened>{{{premiere() + "/Alpha/Alpha-1.prproj"}, "com.adobe.AdobePremierePro"}}));
    EXPECT_TRUE(home().platform().launched().isEmpty());

    AutosaveOpener::openItem(*item(projects, "Ceremony 2026-11-16 10-00.fcpevent"), "com.apple.FinalCutPro");
    EXPECT_EQ(home().platform().opened().size(), 1);
    EXPECT_EQ(home().platform().launched(), QStringList{"com.apple.FinalCut"});
    EXPECT_EQ(read(current()), read(backup("2026-11-16")));
}

TEST_F(Opener, AnEventIsRestoredFromItsBackupWithTheCurrentVersionKeptAside) {
    const QByteArray original = read(current());
    EXPECT_TRUE(AutosaveOpener::restoreFCPXEvent(backup("2026-11-16")));
    EXPECT_EQ(read(current()), read(backup("2026-11-16")));
    EXPECT_EQ(read(ceremony("CurrentVersion-Backup.fcpevent")), original);
    EXPECT_TRUE(exists(backup("2026-11-16"))); // the backup itself stays
}

TEST_F(Opener, AFailedRestoreLeavesTheCurrentVersionInPlace) {
    const QByteArray original = read(current());
    // The backup vanished after the catalogue listed it: nothing can be put in place.
    ASSERT_TRUE(QFile::remove(backup("2026-11-16")));
    EXPECT_FALSE(AutosaveOpener::restoreFCPXEvent(backup("2026-11-16")));
    EXPECT_EQ(read(current()), original);
    EXPECT_FALSE(exists(ceremony("CurrentVersion-Backup.fcpevent")));
}

TEST_F(Opener, AnEventWithoutCurrentVersionIsNotRestored) {
    ASSERT_TRUE(QFile::remove(current()));
    EXPECT_FALSE(AutosaveOpener::restoreFCPXEvent(backup("2026-11-16")));
    EXPECT_FALSE(exists(current()));
    EXPECT_EQ(QDir(library() + "/Ceremony").entryList(QDir::Files), QStringList());
}

TEST_F(Opener, RevealShowsTheFirstRowOnly) {
    const BMProjectList projects = scan();
    EXPECT_FALSE(AutosaveOpener::showInFinder({}));
    AutosaveOpener::showInFinder({itemRow(projects, "Beta-2.prproj"), projectRow(projects, "Alpha")});
    AutosaveOpener::showInFinder({projectRow(projects, "Alpha"), itemRow(projects, "Beta-2.prproj")});
    EXPECT_EQ(home().platform().revealed(),
              (QList<Revealed>{{premiere() + "/Beta/Beta-2.prproj", premiere() + "/Beta"},
                               {premiere() + "/Alpha", premiere() + "/Alpha"}}));
}

TEST_F(Opener, MovingTheOnlyAutosaveOfAProjectTakesItsFolderCopyingDoesNot) {
    const QString target = home().makeFolder("Users/jö ed/Kept");
    BMProjectList projects = scan();
    AutosaveOpener::TransferReport copied =
        AutosaveOpener::copyFiles({projectRow(projects, "Alpha")}, target, AutosaveOpener::Transfer::Copy);
    EXPECT_EQ(copied.done, QStringList{target + "/Alpha-1.prproj"});
    EXPECT_TRUE(exists(premiere() + "/Alpha/Alpha-1.prproj"));
    EXPECT_EQ(read(target + "/Alpha-1.prproj"),
              "Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj");

    // A file of the same name already there: the newcomer takes a free name beside it.
    AutosaveOpener::TransferReport moved =
        AutosaveOpener::copyFiles({projectRow(projects, "Alpha")}, target, AutosaveOpener::Transfer::Move);
    EXPECT_EQ(moved.done, QStringList{target + "/Alpha-1 2.prproj"});
    EXPECT_TRUE(moved.failed.isEmpty());
    EXPECT_FALSE(exists(premiere() + "/Alpha"));
    EXPECT_TRUE(exists(target + "/Alpha-1.prproj"));
}

TEST_F(Opener, CopyAndMoveSkipFilesAlreadyGoneAndReportProgress) {
    const QString target = home().makeFolder("Users/jö ed/Kept");
    const BMProjectList projects = scan();
    ASSERT_TRUE(QFile::remove(premiere() + "/Beta/Beta-1.prproj"));
    QList<ActionProgress> seen;
    const AutosaveOpener::TransferReport moved =
        AutosaveOpener::copyFiles({projectRow(projects, "Beta")}, target, AutosaveOpener::Transfer::Move,
                                  [&](const ActionProgress& progress) { seen << progress; });
    EXPECT_EQ(moved.done, QStringList{target + "/Beta-2.prproj"});
    EXPECT_FALSE(exists(premiere() + "/Beta"));
    using Stage = ActionProgress::Stage;
    EXPECT_EQ(seen,
              (QList<ActionProgress>{{Stage::Moving, 0, 2}, {Stage::Moving, 1, 2}, {Stage::Moving, 2, 2}}));
    EXPECT_EQ(seen.last().text(), "Moving autosaves (2 of 2)");
}
