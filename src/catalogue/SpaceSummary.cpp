#include "SpaceSummary.h"

#include "AutosaveType.h"

#include <algorithm>
#include <cmath>

void SpaceSummary::add(const BMProject& project) {
    const int type = AutosaveType::normalized(project.type());
    // A file linked into several projects counts with the first: the shares add up to the total.
    const double bytes = m_distinct.add(project);
    addTo(m_editors, editorName(type), type, project, bytes);
    addTo(m_locations, project.location(), -1, project, bytes);
    m_totalBytes += bytes;
    m_largestProject = std::max(m_largestProject, project.fileSize());
    ++m_projects;
    m_autosaves += project.childCount();
}

SpaceSummary SpaceSummary::of(const BMProjectList& projects) {
    SpaceSummary summary;
    for (const BMProjectPtr& project : projects)
        summary.add(*project);
    return summary;
}

double SpaceSummary::percentOf(double bytes) const {
    return m_totalBytes > 0 ? std::round(bytes * 1000.0 / m_totalBytes) / 10.0 : 0.0;
}

QString SpaceSummary::editorName(int type) {
    switch (AutosaveType::normalized(type)) {
    case AutosaveType::Motion:
        return QStringLiteral("Motion");
    case AutosaveType::Premiere:
        return QStringLiteral("Premiere Pro");
    case AutosaveType::Avid:
        return QStringLiteral("Media Composer");
    case AutosaveType::FinalCutX:
        return QStringLiteral("Final Cut Pro X");
    default:
        return QStringLiteral("Final Cut Pro");
    }
}

QList<SpaceShare> SpaceSummary::sorted(QList<SpaceShare> shares) {
    std::stable_sort(shares.begin(), shares.end(), [](const SpaceShare& a, const SpaceShare& b) {
        return a.bytes != b.bytes ? a.bytes > b.bytes : a.name < b.name;
    });
    return shares;
}

void SpaceSummary::addTo(QList<SpaceShare>& shares, const QString& name, int type, const BMProject& project,
                         double bytes) {
    auto found = std::find_if(shares.begin(), shares.end(), [&](const SpaceShare& share) {
        return share.name == name && share.type == type;
    });
    if (found == shares.end()) {
        shares.append({name, type});
        found = shares.end() - 1;
    }
    found->bytes += bytes;
    ++found->projects;
    found->autosaves += project.childCount();
}
