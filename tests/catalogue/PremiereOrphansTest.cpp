#include "catalogue/PremiereOrphans.h"

#include "CatalogueTestSupport.h"
#include "catalogue/AutosaveFolderScanner.h"
#include "support/Gzip.h"
#include "support/PremiereXml.h"

#include <QThread>

namespace {

class Orphans : public CatalogueTest::LoggedHomeTest {
protected:
    QString edits() const { return home().root() + "/Edits"; }
    // One autosave after the other, so that the newest is known by its creation.
    void autosave(const QString& name, const QString& recorded, bool compressed = true) {
        const QByteArray xml = premiereProjectXml(recorded);
        home().writeFile(edits() + "/Adobe Premiere Pro Auto-Save/" + name,
                         compressed ? gzipCompressed(xml) : xml);
        QThread::msleep(10);
    }
};

} // namespace

TEST_F(Orphans, OnlyAProjectWhoseRecordedFileIsGoneFromBothPlacesIsAnOrphan) {
    const QString projects = home().root() + "/Projects";
    home().writeFile(projects + "/Live & Well.prproj", "live");
    home().writeFile(edits() + "/Shared.prproj", "the same file, mounted here");
    autosave("Live/Live-1.prproj", projects + "/Live & Well.prproj");
    autosave("Gone/Gone-1.prproj", projects + "/Gone.prproj");
    // Where another machine mounts the share: the file beside the auto-save folder is the one.
    autosave("Shared/Shared-1.prproj", "/Volumes/Share/Shared.prproj");
    autosave("Shared/Shared-2.prproj", "C:\\Share\\Shared.prproj", false);
    // Saved elsewhere at last: the newest autosave tells.
    autosave("Moved/Moved-1.prproj", projects + "/Old/Moved.prproj");
    autosave("Moved/Moved-2.prproj", projects + "/Live & Well.prproj");
    autosave("Silent/Silent-1.prproj", QString());
    // Cut short after the part that tells: what was read still counts.
    autosave("Cut/Cut-1.prproj", projects + "/Cut.prproj");
    const QString cut = edits() + "/Adobe Premiere Pro Auto-Save/Cut/Cut-1.prproj";
    ASSERT_TRUE(QFile::resize(cut, QFileInfo(cut).size() - 8));

    EXPECT_EQ(
        PremiereOrphans::recordedProjectPath(edits() + "/Adobe Premiere Pro Auto-Save/Live/Live-1.prproj"),
        projects + "/Live & Well.prproj");
    const BMProjectList found = AutosaveFolderScanner()
                                    .projectsFromFolder(edits() + "/Adobe Premiere Pro Auto-Save")
                                    .value_or(BMProjectList());
    QStringList orphans, others;
    for (const BMProjectPtr& project : found)
        (PremiereOrphans::isOrphan(*project) ? orphans : others) << project->name();
    orphans.sort();
    EXPECT_EQ(orphans, (QStringList{"Cut", "Gone"}));
    others.sort();
    EXPECT_EQ(others, (QStringList{"Live", "Moved", "Shared", "Silent"}));
}
