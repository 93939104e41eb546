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
    // A whole project can run to hundreds of megabytes of XML: the file is read only up to the
    // one element, and only that element goes through the parser.
    const QByteArray opening = "<" + kElement.toByteArray();
    const QByteArray closing = "</" + kElement.toByteArray() + '>';
    QByteArray window; // the tail that might begin the element, then the element so far
    bool begun = false;
    QByteArray element;
    QString error;
    const bool read = InputFile::readPiecesMaybeCompressed(
        autosave, BMPremierePrefParser::maximumProjectFileSize,
        [&](QByteArrayView piece) {
            window.append(piece);
            if (!begun) {
                const qsizetype start = window.indexOf(opening);
                if (start < 0) {
                    window = window.right(opening.size() - 1);
                    return true;
                }
                window.remove(0, start);
                begun = true;
            }
            const qsizetype end = window.indexOf(closing);
            if (end < 0)
                return window.size() < InputFile::pieceSize; // a path is never that long
            element = window.left(end + closing.size());
            return false;
        },
        &error);
    if (!read) {
        BMLog::appendLog(QStringLiteral("Unable to read the project path in %1: %2").arg(autosave, error));
        return QString();
    }
    pugi::xml_document document;
    if (element.isEmpty() || !BMXMLParser::parseDocument(element, document, &error))
        return QString();
    return BMXMLParser::stringValue(pugi::xpath_node(document.document_element())).trimmed();
}

bool isOrphan(const BMProject& project) {
    return !missingProjectPath(project).isEmpty();
}

QString missingProjectPath(const BMProject& project) {
    if (AutosaveType::normalized(project.type()) != AutosaveType::Premiere)
        return QString();
    BMAutoItemList newestFirst = project.children();
    std::stable_sort(
        newestFirst.begin(), newestFirst.end(),
        [](const BMAutoItemPtr& a, const BMAutoItemPtr& b) { return a->createdMsecs() > b->createdMsecs(); });
    for (const BMAutoItemPtr& item : newestFirst) {
        const QString recorded = recordedProjectPath(item->path());
        if (recorded.isEmpty())
            continue;
        if (QFileInfo::exists(recorded))
            return QString();
        const QString folder = autosaveFolderOf(item->path());
        if (folder.isEmpty() || QFileInfo::exists(PathText::appendingComponent(
                                    PathText::deletingLastComponent(folder), fileNameOf(recorded))))
            return QString();
        return recorded;
    }
    return QString();
}

} // namespace PremiereOrphans
