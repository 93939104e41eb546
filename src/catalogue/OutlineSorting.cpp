#include "OutlineSorting.h"

#include "OutlineText.h"
#include "foundation/BMSettings.h"
#include "foundation/SettingsKeys.h"

#include <algorithm>

namespace {

template <typename Compare>
BMProjectList sorted(const BMProjectList& projects, Compare compare, bool reverse) {
    BMProjectList list = projects;
    std::stable_sort(list.begin(), list.end(),
                     [&](const BMProjectPtr& a, const BMProjectPtr& b) { return compare(*a, *b) < 0; });
    if (reverse)
        return BMProject::reverseArray(list).value_or(BMProjectList());
    return list;
}

} // namespace

BMProjectList OutlineSorting::sortProjects(const BMProjectList& projects, QStringView column,
                                           bool descending) {
    if (column == QLatin1String(OutlineColumn::name)) {
        for (const BMProjectPtr& project : projects)
            project->sortChildrenByName(descending);
        return sorted(
            projects, [](const BMProject& a, const BMProject& b) { return a.nameCompare(b); }, descending);
    }
    if (column == QLatin1String(OutlineColumn::date)) {
        for (const BMProjectPtr& project : projects)
            project->sortChildrenByDate(descending);
        if (descending)
            return sorted(
                projects, [](const BMProject& a, const BMProject& b) { return a.dateCompareLate(b); }, true);
        return sorted(
            projects, [](const BMProject& a, const BMProject& b) { return a.dateCompareEarly(b); }, false);
    }
    for (const BMProjectPtr& project : projects)
        project->sortChildrenBySize(descending);
    return sorted(
        projects, [](const BMProject& a, const BMProject& b) { return a.sizeCompare(b); }, descending);
}

OutlineSorting::Choice OutlineSorting::savedChoice(const BMSettings& settings, const QString& firstColumn) {
    QString column = settings.stringValue(QLatin1String(SettingsKey::sortedColumn));
    if (column.isNull())
        column = firstColumn;
    return {column, settings.boolValue(QLatin1String(SettingsKey::sortedDescending))};
}

OutlineSorting::Choice OutlineSorting::headerClicked(BMSettings& settings, const QString& column,
                                                     QString* previousColumn) {
    const bool wasDescending = settings.boolValue(QLatin1String(SettingsKey::sortedDescending));
    const QString stored = settings.stringValue(QLatin1String(SettingsKey::sortedColumn));
    Choice choice{column, false};
    if (column == stored) {
        choice.descending = !wasDescending;
        if (previousColumn)
            previousColumn->clear();
    } else if (previousColumn) {
        *previousColumn = stored.isNull() ? QString() : stored;
    }
    settings.setValue(QLatin1String(SettingsKey::sortedDescending), choice.descending);
    settings.setValue(QLatin1String(SettingsKey::sortedColumn), choice.column);
    return choice;
}

void OutlineSorting::recordSort(BMSettings& settings, const Choice& choice) {
    settings.setValue(QLatin1String(SettingsKey::sortColumn), choice.column);
    settings.setValue(QLatin1String(SettingsKey::sortDescending), choice.descending);
    settings.synchronize();
}
