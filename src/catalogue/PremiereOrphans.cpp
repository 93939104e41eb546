#include "PremiereOrphans.h"

#include "AutosaveFolderScanner.h"
#include "AutosaveType.h"
#include "editorprefs/BMPremierePrefParser.h"
#include "editorprefs/BMXMLParser.h"
#include "editorprefs/InputFile.h"
#include "foundation/BMLog.h"
#include "foundation/PathText.h"

#include <QFileInfo>

#include <algorithm>

namespace {

constexpr QByteArrayView kElement = "project.settings.lastknowngoodprojectpath";

// The folder the editor writes its autosaves into, at or above the autosave's own folder.
QString autosaveFolderOf(const QString& autosave) {
    for (QString folder = PathText::deletingLastComponent(autosave); !folder.isEmpty() && folder != u"/";
         folder = PathText::deletingLastComponent(folder)) {
        if (AutosaveFolderScanner::layoutForFolder(folder) != AutosaveFolderScanner::Layout::None)
            return folder;
    }
    return QString();
}

// The last part of a path a Mac or a Windows machine wrote.
QString fileNameOf(const QString& path) {
    const qsizetype cut = std::max(path.lastIndexOf(QLatin1Char('/')), path.lastIndexOf(QLatin1Char('\\')));
    return path.mid(cut + 1);
}

} // namespace

namespace PremiereOrphans {

QString recordedProjectPath(const QString& autosave) {
    QString error;
    const std::optional<QByteArray> bytes =
        InputFile::readMaybeCompressed(autosave, BMPremierePrefParser::maximumProjectFileSize, &error);
    if (!bytes) {
        BMLog::appendLog(QStringLiteral("Unable to read the project path in %1: %2").arg(autosave, error));
        return QString();
    }
    // The one element is all that is wanted: a whole project can run to hundreds of megabytes of
    // XML, so only that element goes through the parser.
    const QByteArrayView text(*bytes);
    const qsizetype start = text.indexOf(QByteArray("<") + kElement.toByteArray());
    if (start < 0)
        return QString();
    const QByteArray closing = QByteArray("</") + kElement.toByteArray() + '>';
    const qsizetype end = text.indexOf(closing, start);
    if (end < 0)
        return QString();
    pugi::xml_document element;
    if (!BMXMLParser::parseDocument(text.sliced(start, end + closing.size() - start), element, &error))
        return QString();
    return BMXMLParser::stringValue(pugi::xpath_node(element.document_element())).trimmed();
}

bool isOrphan(const BMProject& project) {
    if (AutosaveType::normalized(project.type()) != AutosaveType::Premiere)
        return false;
    BMAutoItemList newestFirst = project.children();
    std::stable_sort(
        newestFirst.begin(), newestFirst.end(),
        [](const BMAutoItemPtr& a, const BMAutoItemPtr& b) { return a->createdMsecs() > b->createdMsecs(); });
    for (const BMAutoItemPtr& item : newestFirst) {
        const QString recorded = recordedProjectPath(item->path());
        if (recorded.isEmpty())
            continue;
        if (QFileInfo::exists(recorded))
            return false;
        const QString folder = autosaveFolderOf(item->path());
        if (folder.isEmpty())
            return false;
        return !QFileInfo::exists(
            PathText::appendingComponent(PathText::deletingLastComponent(folder), fileNameOf(recorded)));
    }
    return false;
}

} // namespace PremiereOrphans
