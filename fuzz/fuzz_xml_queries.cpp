// The XML helpers on arbitrary documents: the preference and project queries, and every
// lookup and walk on the first elements of whatever parses. Input that starts with gzip's
// magic bytes is inflated first, as a project file is.
#include "FuzzSupport.h"
#include "editorprefs/BMPremierePrefParser.h"
#include "editorprefs/BMXMLParser.h"
#include "editorprefs/InputFile.h"
#include "foundation/BMLog.h"

namespace {

// Elements in document order, without recursion.
QList<pugi::xml_node> firstElements(const pugi::xml_node& root, int limit) {
    QList<pugi::xml_node> elements;
    for (pugi::xml_node n = root.first_child(); n && elements.size() < limit;) {
        if (n.type() == pugi::node_element)
            elements.append(n);
        if (n.first_child()) {
            n = n.first_child();
            continue;
        }
        while (n && n != root && !n.next_sibling())
            n = n.parent();
        if (!n || n == root)
            break;
        n = n.next_sibling();
    }
    return elements;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    prepareFuzzing();
    const QByteArrayView input(reinterpret_cast<const char*>(data), qsizetype(size));
    QByteArray inflated;
    if (InputFile::isGzip(input)) {
        constexpr qint64 limit = 1 << 20;
        const std::optional<QByteArray> whole = InputFile::gunzip(input, limit);
        if (!whole)
            return 0;
        FUZZ_CHECK(whole->size() <= limit);
        // Only what follows the end of the stream may be cut off without notice.
        const std::optional<QByteArray> shorter = InputFile::gunzip(input.first(input.size() - 1), limit);
        FUZZ_CHECK(!shorter || *shorter == *whole);
        inflated = *whole;
    }
    pugi::xml_document document;
    if (!BMXMLParser::parseDocument(inflated.isNull() ? input : QByteArrayView(inflated), document))
        return 0;

    for (const QString& query :
         {BMPremierePrefParser::recentDocumentsQuery, BMPremierePrefParser::previewLocationsQuery,
          BMPremierePrefParser::newerPreviewLocationsQuery, BMPremierePrefParser::autoSaveLocationQuery,
          QStringLiteral("./Configuration/VariableForExMan/Data[@key='ProductVersion']")}) {
        QString error;
        const auto nodes = BMXMLParser::evaluate(query, document, &error);
        FUZZ_CHECK(nodes.has_value());
        for (const pugi::xpath_node& node : *nodes)
            BMXMLParser::stringValue(node);
    }

    const QList<pugi::xml_node> elements = firstElements(document, 64);
    for (const pugi::xml_node& element : elements) {
        BMXMLParser::nameForNode(element);
        BMXMLParser::nameForNode(element, true);
        BMXMLParser::uuidForNode(element);
        BMXMLParser::idAttributeForNode(element);
        const QString name = QString::fromUtf8(element.name());
        const pugi::xml_node parent =
            BMXMLParser::parentWithName(element, name, {QStringLiteral("sequence")});
        FUZZ_CHECK(!parent || QString::fromUtf8(parent.name()) == name);
        BMXMLParser::nextSiblingForNode(element);
        int start = 0;
        int end = 0;
        const QList<pugi::xml_node> range = BMXMLParser::affectedNodesForClip(element, &start, &end);
        FUZZ_CHECK(!range.isEmpty() && range.contains(element));
        BMXMLParser::stringValuesForQuery(QStringLiteral("./*/text()"), element);
        const BMXMLParser::Nodes all = BMXMLParser::nodesFromQueries(
            element, {QStringLiteral("./*"), QStringLiteral(".//name"), QStringLiteral("./*")});
        FUZZ_CHECK(all.size() <= BMXMLParser::nodesForQuery(QStringLiteral("./* | .//name"), element).size());
    }
    BMLog::finishWriting();
    return 0;
}
