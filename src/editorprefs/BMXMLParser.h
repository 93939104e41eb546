#pragma once

#include <QByteArrayView>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <pugixml.hpp>

// Queries over editor project and preference XML: XPath made safe to build from names the
// user sees, results gathered across several queries or context nodes, and the name,
// identifier and timing fields such files carry. Stateless; a miss is an empty result, never
// an error. Nodes are pugixml's: a null pugi::xml_node or pugi::xpath_node is "nothing".
class BMXMLParser {
public:
    using Nodes = QList<pugi::xpath_node>;

    // Codes 160 and above as "&#<code>;", "&" as "&amp;" (an "&amp;" already there stays),
    // carriage return as "&#13;", 20 to 159 as they are, and the rest dropped and logged.
    // The lower bound is 20, not 32: tab and line feed go, codes 20 to 31 stay.
    static QString escapeQueryString(const QString& text);

    // The nodes the escaped query selects under the node, in document order. An evaluation
    // error is logged ("XML parsing error: ...") and gives no nodes.
    static Nodes nodesForQuery(const QString& query, const pugi::xpath_node& element);
    static pugi::xpath_node nodeForQuery(const QString& query, const pugi::xpath_node& element);
    // The text of the first selected node; null when nothing is selected.
    static QString stringValueForQuery(const QString& query, const pugi::xpath_node& element);
    // The texts of all selected nodes that have one; empty when nothing is selected.
    static QStringList stringValuesForQuery(const QString& query, const pugi::xpath_node& node);
    // The query's results under each node in turn, duplicates kept.
    static Nodes queryNodes(const Nodes& nodes, const QString& query);
    // Every query's results under the node, each node once, in the order first seen.
    static Nodes nodesFromQueries(const pugi::xpath_node& node, const QStringList& queries);

    static QString idAttributeForNode(const pugi::xpath_node& node);
    // "./name[1]/text()", then (unless immediateChildOnly) ".//name[1]/text()", then the
    // "id" attribute; percent escapes decoded as ASCII where they decode.
    static QString nameForNode(const pugi::xpath_node& node, bool immediateChildOnly = false);
    // As nameForNode with "uuid" elements and no attribute fallback.
    static QString uuidForNode(const pugi::xpath_node& node, bool immediateChildOnly = false);
    // The path part of a URL text, decoded; null for no text or a text that is no URL.
    static QString filenameFromPathURLString(const QString& text);

    // The nearest ancestor element with the name; nothing at the root or when an ancestor
    // whose name is among the limits comes first.
    static pugi::xml_node parentWithName(const pugi::xml_node& node, const QString& name,
                                         const QStringList& limits = QStringList());
    // The next node in document order that is not inside this one; nothing at the end.
    static pugi::xml_node nextSiblingForNode(const pugi::xml_node& node);
    // A timeline clip with the neighbours it is joined to by transitions (a "start" or "end"
    // of "-1"), in order; the out-parameters receive the range's final start and end.
    static QList<pugi::xml_node> affectedNodesForClip(const pugi::xml_node& clip, int* rangeStart = nullptr,
                                                      int* rangeEnd = nullptr);

    // ---- Shared with the preference readers ---------------------------------------------
    // A node's text: an attribute's value, a text node's content, or all the text inside an
    // element.
    static QString stringValue(const pugi::xpath_node& node);
    // Evaluates a query as given (not escaped); nothing, with pugixml's description of the
    // problem, when it cannot be evaluated or does not select nodes.
    static std::optional<Nodes> evaluate(const QString& query, const pugi::xpath_node& context,
                                         QString* error = nullptr);
    // Parses a document; false, with a description, when it is not well-formed XML.
    static bool parseDocument(QByteArrayView bytes, pugi::xml_document& document, QString* error = nullptr,
                              unsigned int options = pugi::parse_default);
    // Percent escapes decoded; nothing when an escape is malformed or is not ASCII.
    static std::optional<QString> decodingPercentEscapesAsAscii(const QString& text);
    // The leading integer of a text as a number (0 when there is none), clamped to int.
    static int intValue(const QString& text);
};
