#include "PathText.h"

namespace {
QString withoutTrailingSlashes(QString path) {
    while (path.size() > 1 && path.endsWith(QLatin1Char('/')))
        path.chop(1);
    return path;
}
} // namespace

QString PathText::appendingComponent(const QString& base, const QString& component) {
    if (base.isEmpty())
        return withoutTrailingSlashes(component);
    QString left = withoutTrailingSlashes(base);
    qsizetype start = 0;
    while (start < component.size() && component[start] == QLatin1Char('/'))
        ++start;
    const QString right = withoutTrailingSlashes(component.mid(start));
    if (right.isEmpty() || right == QLatin1String("/"))
        return left;
    if (left == QLatin1String("/"))
        return QLatin1Char('/') + right;
    return left + QLatin1Char('/') + right;
}

QString PathText::lastComponent(const QString& path) {
    const QString trimmed = withoutTrailingSlashes(path);
    if (trimmed == QLatin1String("/"))
        return trimmed;
    const qsizetype slash = trimmed.lastIndexOf(QLatin1Char('/'));
    return slash < 0 ? trimmed : trimmed.mid(slash + 1);
}

QString PathText::deletingLastComponent(const QString& path) {
    const QString trimmed = withoutTrailingSlashes(path);
    const qsizetype slash = trimmed.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QString();
    if (slash == 0)
        return QStringLiteral("/");
    return trimmed.left(slash);
}

QString PathText::extension(const QString& path) {
    const QString name = lastComponent(path);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1)
        return QString();
    return name.mid(dot + 1);
}

QString PathText::deletingExtension(const QString& path) {
    const QString ext = extension(path);
    if (ext.isEmpty())
        return withoutTrailingSlashes(path);
    const QString trimmed = withoutTrailingSlashes(path);
    return trimmed.left(trimmed.size() - ext.size() - 1);
}

QStringList PathText::components(const QString& path) {
    QStringList parts;
    if (path.startsWith(QLatin1Char('/')))
        parts << QStringLiteral("/");
    for (const QString& part : path.split(QLatin1Char('/'), Qt::SkipEmptyParts))
        parts << part;
    return parts;
}

QString PathText::abbreviatingHome(const QString& path, const QString& home) {
    const QString cleanHome = withoutTrailingSlashes(home);
    if (cleanHome.isEmpty() || cleanHome == QLatin1String("/"))
        return path;
    if (path == cleanHome)
        return QStringLiteral("~");
    if (path.startsWith(cleanHome + QLatin1Char('/')))
        return QLatin1Char('~') + path.mid(cleanHome.size());
    return path;
}

QString PathText::expandingTilde(const QString& path, const QString& home) {
    if (path == QLatin1String("~"))
        return home;
    if (path.startsWith(QLatin1String("~/")))
        return appendingComponent(home, path.mid(2));
    return path;
}
