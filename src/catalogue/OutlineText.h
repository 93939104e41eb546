#pragma once

#include "BMAutoItem.h"
#include "BMProject.h"

#include <QLocale>
#include <QString>
#include <QTimeZone>

// The identifiers of the outline's columns; the settings store them as they are.
namespace OutlineColumn {
inline constexpr char name[] = "colName";
inline constexpr char size[] = "colSize";
inline constexpr char date[] = "colDate";
} // namespace OutlineColumn

// The texts the outline shows for projects and autosaves: sizes in units of 1024 and the
// creation dates, in the user's locale and time zone. The window and `vestry list` both
// use this class, so the command line prints what the window shows. Tests give a fixed
// locale and time zone.
class OutlineText {
public:
    explicit OutlineText(const QLocale& locale = QLocale(),
                         const QTimeZone& zone = QTimeZone::systemTimeZone());

    // "1,023 B", "1.5 KB", "1 MB", "2.25 GB": grouped, at most two fraction digits, exact
    // halves rounded to even.
    QString formatFileSize(double bytes) const;
    // Medium date and medium time; empty for a missing date.
    QString itemDateText(const QDateTime& created) const;
    // Empty when a bound is missing; one date when both are equal; otherwise the start in the
    // fixed form "MM/dd/yyyy HH:mm:ss" whatever the locale, " - ", and the end (as time only).
    QString projectDateText(const QDateTime& start, const QDateTime& end) const;

    // The text of a column for a node; null for a column the outline does not have.
    QString cellText(const BMProject& project, QStringView column) const;
    QString cellText(const BMAutoItem& item, QStringView column) const;

    // The medium styles that Qt has no constant for, built from the locale's long forms
    // without the weekday, with abbreviated month names and without the time zone: in
    // English "MMM d, yyyy" and "h:mm:ss AP".
    static QString mediumDateFormat(const QLocale& locale);
    static QString mediumTimeFormat(const QLocale& locale);
    static QString mediumDateTimeFormat(const QLocale& locale);

    const QLocale& locale() const { return m_locale; }

private:
    QString formatNumber(double value) const;

    QLocale m_locale;
    QLocale m_numberLocale; // the same with grouping always on (the C locale omits it)
    QTimeZone m_zone;
    QString m_mediumTime;
    QString m_mediumDateTime;
};
