#include "TempHome.h"
#include "app/AboutDialog.h"
#include "app/HelpLinks.h"

#include <QCoreApplication>
#include <QLabel>
#include <QTextBrowser>
#include <QUrlQuery>

TEST(AboutDialog, ShowsNameVersionsAndCredits) {
    QCoreApplication::setApplicationVersion("0.9.1");
    AboutDialog about;
    QCoreApplication::setApplicationVersion(QString());
    EXPECT_TRUE(about.versionLabel()->text().startsWith("0.9.1 ("))
        << about.versionLabel()->text().toStdString();
    EXPECT_TRUE(about.versionLabel()->text().endsWith(")\n\nHalvern 2026 (26.1)"));
    EXPECT_FALSE(about.credits()->isHidden());
    // The licences of what the program is built with are shown as they require.
    EXPECT_TRUE(about.credits()->toPlainText().contains("pugixml"));
    EXPECT_TRUE(about.licenceLabel()->text().contains("GPL-3.0-or-later"));
    EXPECT_TRUE(about.licenceLabel()->text().contains(HelpLinks::productHome().toString()));
}

TEST(HelpLinks, TheApplicationCodeIsTheShortNameElseTheFamilys) {
    EXPECT_EQ(HelpLinks::applicationCode(QVariantMap{}), "halvern");
    EXPECT_EQ(HelpLinks::applicationCode(QVariantMap{{"BMShortName", ""}}), "halvern");
    EXPECT_EQ(HelpLinks::applicationCode(QVariantMap{{"BMShortName", "wayfind"}}), "wayfind");
    // The bundled information names this application.
    EXPECT_EQ(QUrlQuery(HelpLinks::featureRequest()).queryItemValue("app"), "vestry");
}
