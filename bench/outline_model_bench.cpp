// Rebuilds and sorts a catalogue of 100,000 autosaves in the outline's model, printing the
// milliseconds of each step, and sorts the same dates with sort(1) in the same run as the
// reference. Usage: outline_model_bench [projects] [autosaves-per-project]
#include "app/AutosaveOutlineModel.h"
#include "catalogue/AutosaveType.h"
#include "catalogue/BMAutoItem.h"
#include "catalogue/BMProject.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryFile>
#include <QTreeView>

#include <algorithm>
#include <cstdio>
#include <random>

namespace {

BMProjectList makeCatalogue(int projects, int perProject, std::mt19937& random) {
    std::uniform_int_distribution<qint64> age(0, 180LL * 24 * 3600 * 1000);
    std::uniform_real_distribution<double> size(1e3, 5e7);
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    BMProjectList list;
    list.reserve(projects);
    for (int p = 0; p < projects; ++p) {
        const QString name = QStringLiteral("Project %1").arg((p * 7919) % projects, 5, 10, QLatin1Char('0'));
        const QString folder = QStringLiteral("/Volumes/Media/Adobe Premiere Pro Auto-Save/") + name;
        BMAutoItemList items;
        items.reserve(perProject);
        for (int i = 0; i < perProject; ++i) {
            const QString file = QStringLiteral("%1-%2.prproj").arg(name).arg(i);
            items << BMAutoItem::autoItemType(AutosaveType::Premiere, file, folder + QLatin1Char('/') + file,
                                              QDateTime::fromMSecsSinceEpoch(now - age(random)),
                                              size(random));
        }
        BMProjectPtr project = BMProject::projectType(AutosaveType::Premiere, name, folder);
        project->setChildren(std::move(items));
        list << project;
    }
    return list;
}

double millisecondsOf(const std::function<void()>& step) {
    QElapsedTimer clock;
    clock.start();
    step();
    return double(clock.nsecsElapsed()) / 1e6;
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int projects = argc > 1 ? std::atoi(argv[1]) : 1000;
    const int perProject = argc > 2 ? std::atoi(argv[2]) : 100;
    std::mt19937 random(20261122);

    BMProjectList catalogue;
    const double build = millisecondsOf([&] { catalogue = makeCatalogue(projects, perProject, random); });

    AutosaveOutlineModel model;
    QTreeView view;
    view.setModel(&model);
    view.resize(900, 600);
    view.show();
    QApplication::processEvents();

    const double reset = millisecondsOf([&] {
        model.setProjects(catalogue);
        QApplication::processEvents();
    });
    // A few open projects, as a user leaves them, so that sorting has rows to keep.
    for (int row = 0; row < 20; ++row)
        view.expand(model.index(row * 37 % projects, 0));

    struct Step {
        const char* label;
        const char* column;
        bool descending;
    };
    const Step steps[] = {{"sort by date, ascending", "colDate", false},
                          {"sort by date, descending", "colDate", true},
                          {"sort by name, ascending", "colName", false},
                          {"sort by size, descending", "colSize", true}};
    std::printf("catalogue: %d projects, %d autosaves\n", projects, projects * perProject);
    std::printf("%-34s %9.1f ms\n", "build the catalogue (in memory)", build);
    std::printf("%-34s %9.1f ms\n", "rebuild: replace the model's list", reset);
    double dateAscending = 0;
    for (const Step& step : steps) {
        const double ms = millisecondsOf([&] {
            model.sortBy(QString::fromLatin1(step.column), step.descending);
            QApplication::processEvents();
        });
        if (step.column == QLatin1String("colDate") && !step.descending)
            dateAscending = ms;
        std::printf("%-34s %9.1f ms\n", step.label, ms);
    }

    // The reference: sort(1) ordering the same 100,000 dates as numbers.
    QTemporaryFile dates;
    dates.open();
    for (const BMProjectPtr& project : catalogue) {
        for (const BMAutoItemPtr& item : project->children())
            dates.write(QByteArray::number(item->createdMsecs()) + '\n');
    }
    dates.flush();
    QProcess sort;
    QElapsedTimer clock;
    clock.start();
    sort.start(QStringLiteral("sort"),
               {QStringLiteral("-n"), QStringLiteral("-o"), QStringLiteral("/dev/null"), dates.fileName()});
    sort.waitForFinished(-1);
    const double reference = double(clock.nsecsElapsed()) / 1e6;
    std::printf("%-34s %9.1f ms\n", "sort -n of the same dates", reference);
    std::printf("date sort against sort(1): %.2fx (target: the date sort under 200 ms)\n",
                dateAscending / reference);
    std::fflush(stdout);
    return 0;
}
