#pragma once

#include "BMProject.h"

#include <QList>
#include <QString>

// Where the space of a catalogue goes: its bytes by editor and by autosave location, each
// list largest first (equal sizes by name). `vestry list --summary` prints it and the window
// draws it, so both add up the same way.
struct SpaceShare {
    QString name;  // the editor's name, or the location's path
    int type = -1; // the editor's code for an editor's share; -1 for a location
    double bytes = 0.0;
    qsizetype projects = 0;
    qsizetype autosaves = 0;
};

class SpaceSummary {
public:
    void add(const BMProject& project);
    static SpaceSummary of(const BMProjectList& projects);

    // Largest first; equal sizes by name so the order does not depend on the scan's.
    QList<SpaceShare> byEditor() const { return sorted(m_editors); }
    QList<SpaceShare> byLocation() const { return sorted(m_locations); }
    double totalBytes() const { return m_totalBytes; }
    qsizetype projectCount() const { return m_projects; }
    qsizetype autosaveCount() const { return m_autosaves; }
    double largestProjectBytes() const { return m_largestProject; }

    // The share of the total in percent to one fraction digit, halves away from zero, so that
    // text, JSON and the window print the same figure; 0 of an empty catalogue.
    double percentOf(double bytes) const;

    static QString editorName(int type);

private:
    static QList<SpaceShare> sorted(QList<SpaceShare> shares);
    static void addTo(QList<SpaceShare>& shares, const QString& name, int type, const BMProject& project,
                      double bytes);

    QList<SpaceShare> m_editors;
    QList<SpaceShare> m_locations;
    double m_totalBytes = 0.0;
    qsizetype m_projects = 0;
    qsizetype m_autosaves = 0;
    double m_largestProject = 0.0;
    DistinctBytes m_distinct;
};
