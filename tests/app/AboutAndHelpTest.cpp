#include "TempHome.h"
#include "app/AboutDialog.h"

#include <QCoreApplication>
#include <QLabel>
#include <QTextBrowser>

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
}
