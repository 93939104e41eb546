#include "TempHome.h"
#include "app/AboutDialog.h"
#include "app/HelpLinks.h"

#include <QCoreApplication>
#include <QLabel>
#include <QTextBrowser>
#include <QUrlQuery>

TEST(AboutDialog, VersionLabelFollowsItsFormat) {
    EXPECT_EQ(AboutDialog::versionText("1.2", "345", "2026", "26.1"), "1.2 (345)\n\nHalvern 2026 (26.1)");
    EXPECT_EQ(AboutDialog::versionText("1.2", "", "", ""), "1.2 ()\n\nHalvern  ()");
}

TEST(AboutDialog, ShowsNameVersionsAndCredits) {
    QCoreApplication::setApplicationVersion("0.9.1");
    AboutDialog about;
    QCoreApplication::setApplicationVersion(QString());
    EXPECT_EQ(about.windowTitle(), "About " + QCoreApplication::applicationName());
    EXPECT_EQ(about.nameLabel()->text(), QCoreApplication::applicationName());
    EXPECT_TRUE(about.versionLabel()->text().startsWith("0.9.1 ("));
    EXPECT_TRUE(about.versionLabel()->text().endsWith("\n\nHalvern 2026 (26.1)"));
    EXPECT_FALSE(about.credits()->isHidden());
    EXPECT_TRUE(about.credits()->toPlainText().contains("pugixml"));
}

TEST(HelpLinks, BugReportCarriesApplicationAndVersion) {
    QCoreApplication::setApplicationVersion("1.0 beta");
    const QUrl url = HelpLinks::bugReport();
    QCoreApplication::setApplicationVersion(QString());
    EXPECT_EQ(url.path(), "/halvern/bugreport");
    const QUrlQuery query(url);
    EXPECT_EQ(query.queryItemValue("app"), "vestry");
    EXPECT_EQ(query.queryItemValue("version", QUrl::FullyEncoded), "1.0%20beta");
    EXPECT_EQ(HelpLinks::featureRequest().query(), "app=vestry");
}

using HelpManual = TempHomeTest;
TEST_F(HelpManual, ManualIsLookedForInTheMachineWideLibrary) {
    EXPECT_EQ(HelpLinks::userManualPath(),
              home().machineRoot() + "/usr/local/share/Documentation/Brightmoor/Halvern User Manual.pdf");
}
