// One walk of a volume for the folders discovery looks for, as discovery walks a mounted drive
// that the file name index leaves out; prints what it found. Timed as a whole process by
// bench/volume-walk.sh against find(1) and against plocate's updatedb over the same tree.
// Usage: vestry_volume_walk ROOT [DEPTH [SECONDS]]
#include "catalogue/VolumeSearch.h"

#include <QByteArray>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s ROOT [DEPTH [SECONDS]]\n", argv[0]);
        return 2;
    }
    VolumeSearch::Bounds bounds;
    if (argc > 2)
        bounds.depth = std::atoi(argv[2]);
    if (argc > 3)
        bounds.seconds = std::atof(argv[3]);
    const QList<Platform::SpotlightQuery> queries{
        Platform::SpotlightQuery::folderNamed(QStringLiteral("Autosave Vault")),
        Platform::SpotlightQuery::folderNamed(QStringLiteral("Adobe Premiere Pro Auto-Save")),
        Platform::SpotlightQuery::pathsEndingWith(QStringLiteral("\"Final Cut Pro Library\""),
                                                  QStringLiteral(".fcpbundle")),
    };
    const VolumeSearch::Result result = VolumeSearch::search(QString::fromLocal8Bit(argv[1]), queries, bounds);
    for (const QString& path : result.paths)
        std::printf("%s\n", path.toLocal8Bit().constData());
    if (!result.problem.isEmpty())
        std::fprintf(stderr, "%s\n", result.problem.toLocal8Bit().constData());
    if (result.cutOff)
        std::fprintf(stderr, "cut off\n");
    return result.problem.isEmpty() ? 0 : 1;
}
