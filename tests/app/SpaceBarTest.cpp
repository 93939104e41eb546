// Where the space goes, as the window shows it after a rebuild of a real catalogue.
#include "app/SpaceBar.h"

#include "WindowFixture.h"
#include "app/SizeShareDelegate.h"

#include <QHelpEvent>
#include <QToolTip>

namespace {

// Premiere: Alpha 3000 bytes, Beta 1000; Final Cut Pro X: the event Ceremony, 1000.
class SpaceView : public WindowTest {
protected:
    void SetUp() override {
        WindowTest::SetUp();
        write("Documents/Adobe Premiere Pro Auto-Save/Alpha/Alpha-1.prproj", QByteArray(3000, 'a'));
        write("Documents/Adobe Premiere Pro Auto-Save/Beta/Beta-1.prproj", QByteArray(1000, 'b'));
        write("Movies/Wedding.fcpbundle/Ceremony/CurrentVersion.fcpevent");
        write("Movies/Wedding.fcpbundle/Ceremony/Backups/Ceremony 1.fcpevent", QByteArray(1000, 'c'));
        settings().setValue(SettingsKey::autosavePaths,
                            QStringList{premiere(), home().home() + "/Movies/Wedding.fcpbundle"});
        start();
        controller->mainWindow()->resize(800, 500);
        controller->mainWindow()->show();
    }
    SpaceBar* bar() const { return controller->mainWindow()->spaceBar(); }
};

} // namespace

TEST_F(SpaceView, BarSplitsTheTotalByEditorAndLocationAndProjectSizeCellsShowTheirShareOfTheLargest) {
    ASSERT_TRUE(bar()->isVisible());
    const QList<SpaceBar::Segment> segments = bar()->segments();
    ASSERT_EQ(segments.size(), 4); // two editors, two locations
    const SpaceBar::Segment& premierePro = segments[0];
    const SpaceBar::Segment& finalCut = segments[1];
    EXPECT_EQ(premierePro.label, "Premiere Pro");
    EXPECT_EQ(finalCut.label, "Final Cut Pro X");
    EXPECT_NE(premierePro.colour, finalCut.colour);
    // 4000 of 5000 bytes: four fifths of the bar, the rest meeting it and ending where it ends.
    const qreal whole = premierePro.rect.width() + finalCut.rect.width();
    EXPECT_NEAR(premierePro.rect.width() / whole, 0.8, 0.001);
    EXPECT_DOUBLE_EQ(premierePro.rect.right(), finalCut.rect.left());
    EXPECT_NEAR(finalCut.rect.right(), bar()->width() - premierePro.rect.left(), 0.001);
    EXPECT_EQ(segments[2].toolTip.toStdString(),
              (premiere() + ": 3.91 KB, 80.0% (2 projects)").toStdString());

    QHelpEvent help(QEvent::ToolTip, finalCut.rect.center().toPoint(),
                    bar()->mapToGlobal(finalCut.rect.center().toPoint()));
    QApplication::sendEvent(bar(), &help);
    EXPECT_EQ(QToolTip::text().toStdString(), "Final Cut Pro X: 1,000 B, 20.0% (1 project)");

    // The size cells of projects show their share of the largest.
    auto* delegate =
        qobject_cast<SizeShareDelegate*>(outline()->itemDelegateForColumn(AutosaveOutlineModel::SizeColumn));
    ASSERT_NE(delegate, nullptr);
    const QModelIndex alpha = projectIndex("Alpha").siblingAtColumn(AutosaveOutlineModel::SizeColumn);
    const QModelIndex beta = projectIndex("Beta").siblingAtColumn(AutosaveOutlineModel::SizeColumn);
    EXPECT_EQ(delegate->shareOf(alpha), 1.0);
    EXPECT_NEAR(delegate->shareOf(beta).value_or(-1), 1.0 / 3, 1e-9);
    EXPECT_FALSE(delegate->shareOf(itemIndex("Beta", 0).siblingAtColumn(AutosaveOutlineModel::SizeColumn)));
    const QRect cell(0, 0, 106, 20);
    EXPECT_NEAR(delegate->barRect(beta, cell).width() * 3, delegate->barRect(alpha, cell).width(), 0.001);
}
