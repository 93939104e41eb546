#pragma once

#include "BMProject.h"

#include <QString>

// A Premiere autosave records the path of the live project it was saved from. A project whose
// recorded file no longer exists, and which has no project file of that name beside its
// auto-save folder either (shared storage mounts the same file under another path), is an
// orphan. Other editors record nothing that tells, so their projects never are.
//
// These read the autosaves themselves: ask only when the answer is wanted.
namespace PremiereOrphans {

// The live project's path the autosave (plain or gzip-compressed project XML) records; null
// when it records none or cannot be read.
QString recordedProjectPath(const QString& autosave);
// From the newest autosave that records a path; a project without one is not an orphan.
bool isOrphan(const BMProject& project);
// The path its newest autosave records when the project is an orphan; null when it is not.
QString missingProjectPath(const BMProject& project);

} // namespace PremiereOrphans
