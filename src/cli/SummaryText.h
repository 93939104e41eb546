#pragma once

#include "catalogue/OutlineText.h"
#include "catalogue/SpaceSummary.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

// `vestry list --summary`: the totals by editor, then by location, as two aligned tables with
// the window's sizes and each row's share of the total, or as one compact JSON document:
// {"editors":[{"autosaves":n,"bytes":n,"editor":"…","percent":x,"projects":n}, …],
//  "locations":[{"autosaves":n,"bytes":n,"location":"…","percent":x,"projects":n}, …],
//  "offline":["…"],"total":{"autosaves":n,"bytes":n,"projects":n}}
// percent has one fraction digit; both lists are largest first.
namespace SummaryText {
QString text(const SpaceSummary& summary, const OutlineText& outline, const QStringList& offline);
QByteArray json(const SpaceSummary& summary, const QStringList& offline);
} // namespace SummaryText
