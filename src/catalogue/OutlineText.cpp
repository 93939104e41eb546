#include "OutlineText.h"

#include "foundation/BMException.h"

#include <cmath>
#include <vector>

namespace {

// A Qt date or time format cut into fields (runs of one pattern letter) and literal text
// (separators and quoted text, quotes kept).
struct Segment {
    bool field = false;
    QString text;
};

std::vector<Segment> segmentsOf(const QString& format) {
    static const QString fieldLetters = QStringLiteral("dMyhHmszaApPtz");
    std::vector<Segment> segments;
    qsizetype i = 0;
    while (i < format.size()) {
        const QChar c = format[i];
        if (c == u'\'') {
            qsizetype j = format.indexOf(u'\'', i + 1);
            j = j < 0 ? format.size() : j + 1;
            segments.push_back({false, format.mid(i, j - i)});
            i = j;
        } else if (fieldLetters.contains(c)) {
            qsizetype j = i;
            while (j < format.size() && format[j] == c)
                ++j;
            segments.push_back({true, format.mid(i, j - i)});
            i = j;
        } else {
            qsizetype j = i;
            while (j < format.size() && format[j] != u'\'' && !fieldLetters.contains(format[j]))
                ++j;
            segments.push_back({false, format.mid(i, j - i)});
            i = j;
        }
    }
    return segments;
}

bool isSeparator(const Segment& segment) {
    if (segment.field || segment.text.startsWith(u'\''))
        return false;
    for (QChar c : segment.text) {
        if (!c.isSpace() && !c.isPunct())
            return false;
    }
    return true;
}

// Drops the fields the predicate picks, each with the separator that tied it to its
// neighbour (the one after it when it comes first, else the one before it).
template <typename Pick>
std::vector<Segment> withoutFields(std::vector<Segment> segments, Pick pick) {
    for (size_t i = 0; i < segments.size();) {
        if (!segments[i].field || !pick(segments[i].text)) {
            ++i;
            continue;
        }
        if (i == 0 && i + 1 < segments.size() && isSeparator(segments[i + 1])) {
            segments.erase(segments.begin() + qsizetype(i), segments.begin() + qsizetype(i) + 2);
        } else if (i > 0 && isSeparator(segments[i - 1])) {
            segments.erase(segments.begin() + qsizetype(i) - 1, segments.begin() + qsizetype(i) + 1);
            --i;
        } else {
            segments.erase(segments.begin() + qsizetype(i));
        }
    }
    return segments;
}

QString joined(const std::vector<Segment>& segments) {
    QString text;
    for (const Segment& segment : segments)
        text += segment.text;
    return text.trimmed();
}

} // namespace

OutlineText::OutlineText(const QLocale& locale, const QTimeZone& zone)
    : m_locale(locale), m_numberLocale(locale), m_zone(zone), m_mediumTime(mediumTimeFormat(locale)),
      m_mediumDateTime(mediumDateTimeFormat(locale)) {
    m_numberLocale.setNumberOptions(m_numberLocale.numberOptions() & ~QLocale::OmitGroupSeparator);
}

QString OutlineText::mediumDateFormat(const QLocale& locale) {
    std::vector<Segment> segments =
        withoutFields(segmentsOf(locale.dateFormat(QLocale::LongFormat)),
                      [](const QString& field) { return field.startsWith(u'd') && field.size() >= 3; });
    for (Segment& segment : segments) {
        if (segment.field && segment.text == QLatin1String("MMMM"))
            segment.text = QStringLiteral("MMM");
    }
    return joined(segments);
}

QString OutlineText::mediumTimeFormat(const QLocale& locale) {
    return joined(withoutFields(segmentsOf(locale.timeFormat(QLocale::LongFormat)),
                                [](const QString& field) { return field.startsWith(u't'); }));
}

QString OutlineText::mediumDateTimeFormat(const QLocale& locale) {
    // Keep the locale's own way of joining date and time where its long form shows it.
    QString format = locale.dateTimeFormat(QLocale::LongFormat);
    const QString longDate = locale.dateFormat(QLocale::LongFormat);
    const QString longTime = locale.timeFormat(QLocale::LongFormat);
    if (format.contains(longDate) && format.contains(longTime))
        return format.replace(longDate, mediumDateFormat(locale)).replace(longTime, mediumTimeFormat(locale));
    return mediumDateFormat(locale) + QLatin1Char(' ') + mediumTimeFormat(locale);
}

QString OutlineText::formatNumber(double value) const {
    // Round to hundredths first (ties to even, as the platform's number formatter does), then
    // show only the fraction digits that are not zero.
    const double hundredths = std::nearbyint(value * 100.0);
    const int digits = std::fmod(hundredths, 100.0) == 0.0 ? 0 : std::fmod(hundredths, 10.0) == 0.0 ? 1 : 2;
    return m_numberLocale.toString(hundredths / 100.0, 'f', digits);
}

QString OutlineText::formatFileSize(double bytes) const {
    try {
        if (bytes < 1024.0)
            return QStringLiteral("%1 B").arg(formatNumber(bytes));
        if (bytes < 1048576.0)
            return QStringLiteral("%1 KB").arg(formatNumber(bytes / 1024.0));
        if (bytes < 1073741824.0)
            return QStringLiteral("%1 MB").arg(formatNumber(bytes / 1048576.0));
        return QStringLiteral("%1 GB").arg(formatNumber(bytes / 1073741824.0));
    } catch (const std::exception& e) {
        BMException::logException(e, "-[AppController formatFileSize:]");
        return QString();
    }
}

QString OutlineText::itemDateText(const QDateTime& created) const {
    if (!created.isValid())
        return QString();
    return m_locale.toString(created.toTimeZone(m_zone), m_mediumDateTime);
}

QString OutlineText::projectDateText(const QDateTime& start, const QDateTime& end) const {
    if (!start.isValid() || !end.isValid())
        return QString();
    if (start == end)
        return m_locale.toString(end.toTimeZone(m_zone), m_mediumDateTime);
    const QString from =
        QLocale::c().toString(start.toTimeZone(m_zone), QStringLiteral("MM/dd/yyyy HH:mm:ss"));
    // Start minus end, so never positive for a project whose start comes first: the first
    // test then always holds and the end shows as a time. Both tests are kept as they are.
    const double seconds = double(start.toMSecsSinceEpoch() - end.toMSecsSinceEpoch()) / 1000.0;
    const QString& endFormat = seconds < 86400.0    ? m_mediumTime
                               : seconds > -86400.0 ? m_mediumTime
                                                    : m_mediumDateTime;
    return QStringLiteral("%1 - %2").arg(from, m_locale.toString(end.toTimeZone(m_zone), endFormat));
}

QString OutlineText::cellText(const BMProject& project, QStringView column) const {
    if (column == QLatin1String(OutlineColumn::name))
        return project.name();
    if (column == QLatin1String(OutlineColumn::size))
        return formatFileSize(project.fileSize());
    if (column == QLatin1String(OutlineColumn::date))
        return projectDateText(project.startDate(), project.endDate());
    return QString();
}

QString OutlineText::cellText(const BMAutoItem& item, QStringView column) const {
    if (column == QLatin1String(OutlineColumn::name))
        return item.name();
    if (column == QLatin1String(OutlineColumn::size))
        return formatFileSize(item.fileSize());
    if (column == QLatin1String(OutlineColumn::date))
        return itemDateText(item.createdDate());
    return QString();
}
