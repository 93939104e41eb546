// The outline shows why the background jobs leave a just-written autosave alone.
#include "app/AutosaveIcons.h"
#include "app/AutosaveOutlineModel.h"
#include "catalogue/AutosaveType.h"
#include "catalogue/BMProject.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"
#include "support/TempHome.h"

#include <QImage>

namespace {

using RecentWriteBadge = TempHomeTest;

TEST_F(RecentWriteBadge, LocksTheIconAndGivesTheReasonOnlyWhileTheGuardHoldsIt) {
    const QString folder = home().home() + "/Documents/Adobe Premiere Pro Auto-Save/Cut";
    const BMProjectPtr project = BMProject::projectType(AutosaveType::Premiere, "Cut", folder);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    BMAutoItemPtr old, fresh;
    for (auto [item, minutesAgo] : {std::pair{&old, 60}, std::pair{&fresh, 3}}) {
        const QString name = QString("Cut-%1.prproj").arg(minutesAgo);
        *item = BMAutoItem::autoItemType(AutosaveType::Premiere, name, folder + "/" + name,
                                         QDateTime::currentDateTimeUtc().addDays(-1), 10);
        (*item)->setModifiedMsecs(now - minutesAgo * 60'000 - 1000);
        project->addChild(*item);
    }
    AutosaveOutlineModel model;
    model.setProjects({project});
    const QModelIndex projectRow = model.index(0, 0);
    auto rowOf = [&](const BMAutoItemPtr& item) {
        for (int row = 0; row < model.rowCount(projectRow); ++row) {
            if (model.itemAt(model.index(row, 0, projectRow)) == item)
                return model.index(row, 0, projectRow);
        }
        return QModelIndex();
    };
    auto image = [&](const QModelIndex& index) {
        return model.data(index, Qt::DecorationRole).value<QIcon>().pixmap(32, 32).toImage();
    };
    const QImage plain = AutosaveIcons::iconForType(AutosaveType::Premiere).pixmap(32, 32).toImage();

    EXPECT_EQ(model.data(rowOf(old), Qt::ToolTipRole).toString(), old->path());
    EXPECT_EQ(image(rowOf(old)), plain);
    EXPECT_EQ(model.data(rowOf(fresh), Qt::ToolTipRole).toString(),
              fresh->path() + "\nWritten 3 minutes ago: the background jobs leave it alone for 10 minutes");
    EXPECT_NE(image(rowOf(fresh)), plain);

    BMSettings::standard().setValue(SettingsKey::guardMinutes, 0);
    EXPECT_EQ(model.data(rowOf(fresh), Qt::ToolTipRole).toString(), fresh->path());
    EXPECT_EQ(image(rowOf(fresh)), plain);
}

} // namespace
