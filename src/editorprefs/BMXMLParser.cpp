#include "BMXMLParser.h"

#include "foundation/BMLog.h"

#include <QUrl>

#include <algorithm>
#include <climits>
#include <new>
#include <set>
#include <utility>

namespace {

QString textOf(const pugi::xml_node& node) {
    switch (node.type()) {
    case pugi::node_element:
    case pugi::node_document: {
        // All text inside, in document order, without recursion (documents may be deep).
        QByteArray text;
        for (pugi::xml_node n = node.first_child(); n;) {
            if (n.type() == pugi::node_pcdata || n.type() == pugi::node_cdata)
                text.append(n.value());
            if (n.first_child()) {
                n = n.first_child();
                continue;
            }
            while (n && n != node && !n.next_sibling())
                n = n.parent();
            if (!n || n == node)
                break;
            n = n.next_sibling();
        }
        return QString::fromUtf8(text);
    }
    case pugi::node_null:
        return QString();
    default:
        return QString::fromUtf8(node.value());
    }
}

std::pair<const void*, const void*> identity(const pugi::xpath_node& node) {
    return {node.node().internal_object(), node.attribute().internal_object()};
}

QString decodedOrRaw(const QString& value) {
    return BMXMLParser::decodingPercentEscapesAsAscii(value).value_or(value);
}

QString childText(const pugi::xml_node& node, const char* query) {
    return BMXMLParser::stringValueForQuery(QString::fromLatin1(query), node);
}

const QLatin1String kJoined("-1");

int hexDigit(QChar c) {
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

} // namespace

QString BMXMLParser::escapeQueryString(const QString& text) {
    QString escaped;
    escaped.reserve(text.size());
    const qsizetype length = text.size();
    for (qsizetype i = 0; i < length; ++i) {
        const char16_t code = text[i].unicode();
        if (code >= 160) {
            escaped += QStringLiteral("&#%1;").arg(int(code));
        } else if (code == u'&') {
            if (length - i >= 5 && QStringView(text).mid(i, 5) == QLatin1String("&amp;"))
                escaped += QLatin1Char('&');
            else
                escaped += QLatin1String("&amp;");
        } else if (code == 13) {
            escaped += QLatin1String("&#13;");
        } else if (code >= 20) {
            escaped += QChar(code);
        } else {
            BMLog::appendLog(QStringLiteral("Stripped character %1").arg(QChar(code)));
        }
    }
    return escaped;
}

std::optional<BMXMLParser::Nodes> BMXMLParser::evaluate(const QString& query, const pugi::xpath_node& context,
                                                        QString* error) {
    if (!context)
        return Nodes();
    try {
        const QByteArray text = query.toUtf8();
        const pugi::xpath_query compiled(text.constData());
        if (!compiled) {
            if (error)
                *error = QString::fromUtf8(compiled.result().description());
            return std::nullopt;
        }
        pugi::xpath_node_set set = compiled.evaluate_node_set(context);
        set.sort();
        Nodes nodes;
        nodes.reserve(qsizetype(set.size()));
        for (const pugi::xpath_node& node : set)
            nodes.append(node);
        return nodes;
    } catch (const pugi::xpath_exception& e) {
        if (error)
            *error = QString::fromUtf8(e.what());
    } catch (const std::bad_alloc&) {
        if (error)
            *error = QStringLiteral("Out of memory while evaluating the query");
    }
    return std::nullopt;
}

BMXMLParser::Nodes BMXMLParser::nodesForQuery(const QString& query, const pugi::xpath_node& element) {
    QString error;
    std::optional<Nodes> nodes = evaluate(escapeQueryString(query), element, &error);
    if (!nodes) {
        BMLog::appendLog(QStringLiteral("XML parsing error: %1").arg(error));
        return Nodes();
    }
    return *nodes;
}

pugi::xpath_node BMXMLParser::nodeForQuery(const QString& query, const pugi::xpath_node& element) {
    const Nodes nodes = nodesForQuery(query, element);
    return nodes.isEmpty() ? pugi::xpath_node() : nodes.first();
}

QString BMXMLParser::stringValue(const pugi::xpath_node& node) {
    if (node.attribute())
        return QString::fromUtf8(node.attribute().value());
    return textOf(node.node());
}

QString BMXMLParser::stringValueForQuery(const QString& query, const pugi::xpath_node& element) {
    const pugi::xpath_node node = nodeForQuery(query, element);
    return node ? stringValue(node) : QString();
}

QStringList BMXMLParser::stringValuesForQuery(const QString& query, const pugi::xpath_node& node) {
    QStringList values;
    for (const pugi::xpath_node& selected : nodesForQuery(query, node)) {
        const QString value = stringValue(selected);
        if (!value.isEmpty())
            values.append(value);
    }
    return values;
}

BMXMLParser::Nodes BMXMLParser::queryNodes(const Nodes& nodes, const QString& query) {
    Nodes all;
    for (const pugi::xpath_node& node : nodes)
        all.append(nodesForQuery(query, node));
    return all;
}

BMXMLParser::Nodes BMXMLParser::nodesFromQueries(const pugi::xpath_node& node, const QStringList& queries) {
    Nodes all;
    std::set<std::pair<const void*, const void*>> seen;
    for (const QString& query : queries) {
        for (const pugi::xpath_node& found : nodesForQuery(query, node)) {
            if (seen.insert(identity(found)).second)
                all.append(found);
        }
    }
    return all;
}

std::optional<QString> BMXMLParser::decodingPercentEscapesAsAscii(const QString& text) {
    if (!text.contains(QLatin1Char('%')))
        return text;
    QString decoded;
    decoded.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text[i] != QLatin1Char('%')) {
            decoded += text[i];
            continue;
        }
        if (i + 2 >= text.size())
            return std::nullopt;
        const int high = hexDigit(text[i + 1]);
        const int low = hexDigit(text[i + 2]);
        if (high < 0 || low < 0 || high > 7)
            return std::nullopt;
        decoded += QChar(char16_t(high * 16 + low));
        i += 2;
    }
    return decoded;
}

QString BMXMLParser::idAttributeForNode(const pugi::xpath_node& node) {
    const pugi::xpath_node id = nodeForQuery(QStringLiteral("./@id[1]"), node);
    return id ? decodedOrRaw(stringValue(id)) : QString();
}

QString BMXMLParser::nameForNode(const pugi::xpath_node& node, bool immediateChildOnly) {
    pugi::xpath_node found = nodeForQuery(QStringLiteral("./name[1]/text()"), node);
    if (!found) {
        if (immediateChildOnly)
            return QString();
        found = nodeForQuery(QStringLiteral(".//name[1]/text()"), node);
    }
    if (!found)
        found = nodeForQuery(QStringLiteral("./@id"), node);
    return found ? decodedOrRaw(stringValue(found)) : QString();
}

QString BMXMLParser::uuidForNode(const pugi::xpath_node& node, bool immediateChildOnly) {
    pugi::xpath_node found = nodeForQuery(QStringLiteral("./uuid[1]/text()"), node);
    if (!found) {
        if (immediateChildOnly)
            return QString();
        found = nodeForQuery(QStringLiteral(".//uuid[1]/text()"), node);
    }
    return found ? decodedOrRaw(stringValue(found)) : QString();
}

QString BMXMLParser::filenameFromPathURLString(const QString& text) {
    if (text.isEmpty())
        return QString();
    const QUrl url(text, QUrl::StrictMode);
    if (!url.isValid())
        return QString();
    return url.path(QUrl::FullyDecoded);
}

pugi::xml_node BMXMLParser::parentWithName(const pugi::xml_node& node, const QString& name,
                                           const QStringList& limits) {
    for (pugi::xml_node parent = node.parent(); parent && parent.type() == pugi::node_element;
         parent = parent.parent()) {
        const QString parentName = QString::fromUtf8(parent.name());
        if (parentName == name)
            return parent;
        if (limits.contains(parentName))
            return pugi::xml_node();
    }
    return pugi::xml_node();
}

pugi::xml_node BMXMLParser::nextSiblingForNode(const pugi::xml_node& node) {
    for (pugi::xml_node n = node; n; n = n.parent()) {
        if (const pugi::xml_node sibling = n.next_sibling())
            return sibling;
    }
    return pugi::xml_node();
}

QList<pugi::xml_node> BMXMLParser::affectedNodesForClip(const pugi::xml_node& clip, int* rangeStart,
                                                        int* rangeEnd) {
    QList<pugi::xml_node> nodes;
    if (!clip)
        return nodes;
    QString start = childText(clip, "./start[1]/text()");
    QString end = childText(clip, "./end[1]/text()");
    nodes.append(clip);

    pugi::xml_node current = clip;
    while (start == kJoined) {
        const pugi::xml_node sibling = current.previous_sibling();
        if (!sibling)
            break;
        const pugi::xml_node before = sibling.previous_sibling();
        if (QLatin1String(sibling.name()) == QLatin1String("transitionitem") && before &&
            childText(before, "./end[1]/text()") == kJoined) {
            nodes.prepend(sibling);
        } else {
            if (start != kJoined && childText(sibling, "./end[1]/text()") != kJoined)
                break;
            nodes.prepend(sibling);
            start = childText(sibling, "./start[1]/text()");
        }
        current = sibling;
    }

    current = clip;
    while (end == kJoined) {
        const pugi::xml_node sibling = current.next_sibling();
        if (!sibling)
            break;
        const pugi::xml_node after = sibling.next_sibling();
        if (QLatin1String(sibling.name()) == QLatin1String("transitionitem") && after &&
            childText(after, "./start[1]/text()") == kJoined) {
            nodes.append(sibling);
        } else {
            if (end != kJoined && childText(sibling, "./start[1]/text()") != kJoined)
                break;
            nodes.append(sibling);
            end = childText(sibling, "./end[1]/text()");
        }
        current = sibling;
    }

    if (rangeStart)
        *rangeStart = intValue(start);
    if (rangeEnd)
        *rangeEnd = intValue(end);
    return nodes;
}

int BMXMLParser::intValue(const QString& text) {
    qsizetype i = 0;
    while (i < text.size() && text[i].isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == QLatin1Char('-') || text[i] == QLatin1Char('+'))) {
        negative = text[i] == QLatin1Char('-');
        ++i;
    }
    long long value = 0;
    for (; i < text.size() && text[i] >= QLatin1Char('0') && text[i] <= QLatin1Char('9'); ++i) {
        value = value * 10 + (text[i].unicode() - u'0');
        if (value > qint64(INT_MAX) + 1)
            break;
    }
    if (negative)
        value = -value;
    return int(std::clamp<long long>(value, INT_MIN, INT_MAX));
}

bool BMXMLParser::parseDocument(QByteArrayView bytes, pugi::xml_document& document, QString* error,
                                unsigned int options) {
    const pugi::xml_parse_result result =
        document.load_buffer(bytes.data(), size_t(bytes.size()), options, pugi::encoding_auto);
    if (result)
        return true;
    if (error)
        *error =
            QStringLiteral("%1 at offset %2").arg(QString::fromUtf8(result.description())).arg(result.offset);
    return false;
}
