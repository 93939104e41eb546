#include "editorprefs/BMXMLParser.h"

#include "editorprefs/BMPremierePrefParser.h"
#include "editorprefs/EditorPrefsTest.h"

#include <gtest/gtest.h>

namespace {

pugi::xml_document parse(const char* xml) {
    pugi::xml_document document;
    EXPECT_TRUE(BMXMLParser::parseDocument(QByteArrayView(xml), document)) << xml;
    return document;
}

QStringList names(const QList<pugi::xml_node>& nodes) {
    QStringList list;
    for (const pugi::xml_node& node : nodes)
        list << QString::fromUtf8(node.attribute("n").value());
    return list;
}

QStringList texts(const BMXMLParser::Nodes& nodes) {
    QStringList list;
    for (const pugi::xpath_node& node : nodes)
        list << BMXMLParser::stringValue(node);
    return list;
}

} // namespace

// ---- Escaping ------------------------------------------------------------------------------

struct EscapeRow {
    const char* name;
    QString text;
    QString escaped;
};

// Stripped characters are logged, so each row has a home and a log of its own.
class XmlEscape : public EditorPrefsTest, public ::testing::WithParamInterface<EscapeRow> {};

TEST_P(XmlEscape, MakesQueryTextSafe) {
    EXPECT_EQ(BMXMLParser::escapeQueryString(GetParam().text), GetParam().escaped);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, XmlEscape,
    ::testing::Values(
        EscapeRow{"Ampersand", "Tom & Jerry", "Tom &amp; Jerry"},
        EscapeRow{"AmpersandAlreadyEscaped", "Tom &amp; Jerry", "Tom &amp; Jerry"},
        EscapeRow{"AmpersandNearTheEnd", "a&amp", "a&amp;amp"}, EscapeRow{"AmpersandLast", "R&", "R&amp;"},
        EscapeRow{"LetterAbove159", QString::fromUtf8("Caf\xc3\xa9"), "Caf&#233;"},
        EscapeRow{"NoBreakSpaceIs160", QString(QChar(160)), "&#160;"},
        EscapeRow{"Code159Kept", QString(QChar(159)), QString(QChar(159))},
        EscapeRow{"EuroSign", QString(QChar(0x20AC)), "&#8364;"},
        EscapeRow{"SurrogatesOneByOne", QString::fromUtf8("\xf0\x9f\x98\x80"), "&#55357;&#56832;"},
        EscapeRow{"CarriageReturn", "a\rb", "a&#13;b"}, EscapeRow{"TabAndLineFeedDropped", "a\tb\nc", "abc"},
        EscapeRow{"Code19Dropped", QString("x") + QChar(19), "x"},
        EscapeRow{"Codes20To31Kept", QString(QChar(20)) + QChar(31), QString(QChar(20)) + QChar(31)},
        EscapeRow{"NulDropped", QString(QChar(0)) + "q", "q"},
        EscapeRow{"PlainQuery", "./name[1]/text()", "./name[1]/text()"}),
    [](const auto& info) { return std::string(info.param.name); });

class XmlParser : public EditorPrefsTest {};

TEST_F(XmlParser, LogsEveryStrippedCharacter) {
    BMXMLParser::escapeQueryString(QStringLiteral("a\tb") + QChar(7));
    const QString log = logText();
    EXPECT_EQ(log.count(QStringLiteral("Stripped character")), 2) << log.toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral("Stripped character ") + QChar(7)));
}

// ---- Queries -------------------------------------------------------------------------------

TEST_F(XmlParser, LogsAQueryThatCannotBeEvaluated) {
    const pugi::xml_document document = parse("<a><b/></a>");
    EXPECT_TRUE(BMXMLParser::nodesForQuery(QStringLiteral("./a[["), document).isEmpty());
    EXPECT_TRUE(BMXMLParser::nodesForQuery(QStringLiteral("count(./a)"), document).isEmpty());
    EXPECT_EQ(logText().count(QStringLiteral("XML parsing error: ")), 2);
}

TEST_F(XmlParser, GathersTextsAndNodes) {
    const pugi::xml_document document =
        parse("<r><i>one</i><i></i><i>two<x>2</x></i><j a='attr'>three</j></r>");
    const pugi::xml_node root = document.child("r");
    EXPECT_EQ(BMXMLParser::stringValuesForQuery(QStringLiteral("./i"), root), (QStringList{"one", "two2"}));
    EXPECT_TRUE(BMXMLParser::stringValuesForQuery(QStringLiteral("./none"), root).isEmpty());
    EXPECT_EQ(BMXMLParser::stringValueForQuery(QStringLiteral("./j/@a"), root), "attr");
    EXPECT_TRUE(BMXMLParser::stringValueForQuery(QStringLiteral("./none"), root).isNull());
    EXPECT_FALSE(BMXMLParser::nodeForQuery(QStringLiteral("./none"), root));

    const BMXMLParser::Nodes contexts = BMXMLParser::nodesForQuery(QStringLiteral("./*"), root);
    EXPECT_EQ(texts(BMXMLParser::queryNodes(contexts + contexts, QStringLiteral("./text()"))),
              (QStringList{"one", "two", "three", "one", "two", "three"}));
    EXPECT_EQ(texts(BMXMLParser::nodesFromQueries(
                  root, {QStringLiteral("./j"), QStringLiteral("./i"), QStringLiteral("./j | ./i[1]")})),
              (QStringList{"three", "one", "", "two2"}));
}

struct NameRow {
    const char* name;
    const char* xml;
    bool immediate;
    const char* expected; // null: nothing
};

class XmlNames : public XmlParser, public ::testing::WithParamInterface<NameRow> {};

TEST_P(XmlNames, ComeFromTheNameElementOrTheId) {
    const pugi::xml_document document = parse(GetParam().xml);
    const QString name = BMXMLParser::nameForNode(document.first_child(), GetParam().immediate);
    if (GetParam().expected)
        EXPECT_EQ(name, QString::fromUtf8(GetParam().expected));
    else
        EXPECT_TRUE(name.isNull()) << name.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Lookups, XmlNames,
    ::testing::Values(
        NameRow{"ImmediateChild", "<clip id='c'><name>Interview</name><x><name>Deep</name></x></clip>", true,
                "Interview"},
        NameRow{"NestedWhenAllowed", "<clip id='c'><x><name>Deep</name></x></clip>", false, "Deep"},
        NameRow{"NestedNotWhenImmediate", "<clip id='c'><x><name>Deep</name></x></clip>", true, nullptr},
        NameRow{"IdFallback", "<clip id='Take%201'/>", false, "Take 1"},
        NameRow{"PercentDecoded", "<clip><name>My%20Clip%2FA</name></clip>", false, "My Clip/A"},
        NameRow{"MalformedEscapeKeptRaw", "<clip><name>100%</name></clip>", false, "100%"},
        NameRow{"NonAsciiEscapeKeptRaw", "<clip><name>Caf%C3%A9</name></clip>", false, "Caf%C3%A9"},
        NameRow{"Nothing", "<clip/>", false, nullptr}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(XmlParser, ReadsUuidsAndIdsWithoutAttributeFallback) {
    const pugi::xml_document document =
        parse("<seq id='s%2D1'><uuid>A-1</uuid><clip id='c'><media><uuid>B%2D2</uuid></media></clip></seq>");
    const pugi::xml_node seq = document.child("seq");
    EXPECT_EQ(BMXMLParser::uuidForNode(seq), "A-1");
    EXPECT_EQ(BMXMLParser::uuidForNode(seq.child("clip")), "B-2");
    EXPECT_TRUE(BMXMLParser::uuidForNode(seq.child("clip"), true).isNull());
    EXPECT_TRUE(BMXMLParser::uuidForNode(seq.child("clip").child("media").child("uuid")).isNull());
    EXPECT_EQ(BMXMLParser::idAttributeForNode(seq), "s-1");
    EXPECT_TRUE(BMXMLParser::idAttributeForNode(seq.child("uuid")).isNull());
}

TEST(XmlPaths, TakeThePathOfAUrl) {
    EXPECT_EQ(
        BMXMLParser::filenameFromPathURLString(QStringLiteral("file://localhost/Users/jo/My%20Movie.mov")),
        "/Users/jo/My Movie.mov");
    EXPECT_EQ(BMXMLParser::filenameFromPathURLString(QStringLiteral("file:///Volumes/Media/a.mov")),
              "/Volumes/Media/a.mov");
    EXPECT_TRUE(BMXMLParser::filenameFromPathURLString(QString()).isNull());
    EXPECT_TRUE(BMXMLParser::filenameFromPathURLString(QStringLiteral("file://host/a b%zz")).isNull());
}

// ---- Walking the tree ----------------------------------------------------------------------

TEST_F(XmlParser, ClimbsToANamedParentUnlessALimitComesFirst) {
    const pugi::xml_document document =
        parse("<project><bin><sequence><track><clip/></track></sequence></bin></project>");
    const pugi::xml_node clip = document.select_node("//clip").node();
    EXPECT_EQ(QString::fromUtf8(BMXMLParser::parentWithName(clip, QStringLiteral("bin")).name()), "bin");
    EXPECT_FALSE(BMXMLParser::parentWithName(clip, QStringLiteral("bin"), {QStringLiteral("sequence")}));
    EXPECT_EQ(
        QString::fromUtf8(
            BMXMLParser::parentWithName(clip, QStringLiteral("track"), {QStringLiteral("track")}).name()),
        "track");
    EXPECT_FALSE(BMXMLParser::parentWithName(clip, QStringLiteral("timeline")));
    EXPECT_EQ(QString::fromUtf8(BMXMLParser::parentWithName(clip, QStringLiteral("project")).name()),
              "project");
}

TEST_F(XmlParser, StepsToTheNextNodeOutsideTheCurrentOne) {
    const pugi::xml_document document =
        parse("<r><a n='a'><a1 n='a1'><deep n='d'/></a1></a><b n='b'/><c n='c'><c1 n='c1'/></c></r>");
    auto next = [&](const char* path) {
        return QString::fromUtf8(
            BMXMLParser::nextSiblingForNode(document.select_node(path).node()).attribute("n").value());
    };
    EXPECT_EQ(next("//a"), "b");
    EXPECT_EQ(next("//deep"), "b") << "the ancestor's sibling, skipping nothing else";
    EXPECT_EQ(next("//b"), "c");
    EXPECT_FALSE(BMXMLParser::nextSiblingForNode(document.select_node("//c1").node()));
}

struct ClipRow {
    const char* name;
    const char* clip;
    const char* nodes;
    int start;
    int end;
};

class XmlClipRange : public XmlParser, public ::testing::WithParamInterface<ClipRow> {};

TEST_P(XmlClipRange, FollowsTransitionsBothWays) {
    const pugi::xml_document document =
        parse("<track>"
              "<clipitem n='A'><start>0</start><end>100</end></clipitem>"
              "<clipitem n='B'><start>100</start><end>-1</end></clipitem>"
              "<transitionitem n='T1'><start>180</start><end>220</end></transitionitem>"
              "<clipitem n='C'><start>-1</start><end>-1</end></clipitem>"
              "<transitionitem n='T2'><start>300</start><end>340</end></transitionitem>"
              "<clipitem n='D'><start>-1</start><end>400</end></clipitem>"
              "<clipitem n='E'><start>400</start><end>-1</end></clipitem>"
              "<generatoritem n='F'><start>-1</start><end>480</end></generatoritem>"
              "<clipitem n='G'><start>480</start><end>-1</end></clipitem>"
              "</track>");
    const pugi::xml_node clip =
        document.select_node(QStringLiteral("//*[@n='%1']").arg(GetParam().clip).toUtf8().constData()).node();
    int start = 12345;
    int end = 12345;
    const QList<pugi::xml_node> nodes = BMXMLParser::affectedNodesForClip(clip, &start, &end);
    EXPECT_EQ(names(nodes).join(QLatin1Char(' ')), QString::fromLatin1(GetParam().nodes));
    EXPECT_EQ(start, GetParam().start);
    EXPECT_EQ(end, GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(Timelines, XmlClipRange,
                         ::testing::Values(ClipRow{"Unjoined", "A", "A", 0, 100},
                                           ClipRow{"JoinedForward", "B", "B T1 C T2 D", 100, 400},
                                           ClipRow{"JoinedBothWays", "C", "B T1 C T2 D", 100, 400},
                                           ClipRow{"JoinedBackward", "D", "B T1 C T2 D", 100, 400},
                                           ClipRow{"JoinedWithoutTransition", "E", "E F", 400, 480},
                                           ClipRow{"OpenAtTheEnd", "G", "G", 480, -1}),
                         [](const auto& info) { return std::string(info.param.name); });

// ---- The preview-location query without XPath 2.0 ------------------------------------------

TEST(XmlPreviewQuery, MatchesTheParenthesisedStepOnEveryOrder) {
    // The parenthesised step keeps, per context node, the first of the union in document
    // order. Build every order of up to four children and compare with that definition.
    const char* kinds[] = {"VideoPreviewLocation", "AudioPreviewLocation", "Other"};
    for (int code = 0; code < 81; ++code) {
        QByteArray children;
        QString firstMatch;
        for (int i = 0, c = code; i < 4; ++i, c /= 3) {
            const char* kind = kinds[c % 3];
            const QString text = QStringLiteral("/%1").arg(i);
            children += QByteArray("<") + kind + ">" + text.toLatin1() + "</" + kind + ">";
            if (firstMatch.isNull() && c % 3 != 2)
                firstMatch = text;
        }
        pugi::xml_document document;
        ASSERT_TRUE(BMXMLParser::parseDocument("<PremiereData><ScratchDiskSettings>" + children +
                                                   "</ScratchDiskSettings></PremiereData>",
                                               document));
        const auto nodes = BMXMLParser::evaluate(BMPremierePrefParser::previewLocationsQuery, document);
        ASSERT_TRUE(nodes);
        EXPECT_EQ(texts(*nodes), firstMatch.isNull() ? QStringList() : QStringList{firstMatch})
            << children.toStdString();
    }
}
