#include "editorprefs/BMXMLParser.h"

#include "editorprefs/BMPremierePrefParser.h"
#include "editorprefs/EditorPrefsTest.h"

namespace {

pugi::xml_document parse(const char* xml) {
    pugi::xml_document document;
    EXPECT_TRUE(BMXMLParser::parseDocument(QByteArrayView(xml), document)) << xml;
    return document;
}

QStringList texts(const BMXMLParser::Nodes& nodes) {
    QStringList list;
    for (const pugi::xpath_node& node : nodes)
        list << BMXMLParser::stringValue(node);
    return list;
}

} // namespace

class XmlParser : public EditorPrefsTest {};

TEST_F(XmlParser, EscapesQueryTextAndLogsWhatItDrops) {
    const QList<std::pair<QString, QString>> rows{
        {"Tom & Jerry", "Tom &amp; Jerry"},
        {"Tom &amp; Jerry", "Tom &amp; Jerry"},
        {"a&amp", "a&amp;amp"},
        {QString::fromUtf8("Caf\xc3\xa9"), "Caf&#233;"},
        {QString(QChar(160)), "&#160;"},
        {QString(QChar(159)), QString(QChar(159))},
        {"a\rb", "a&#13;b"},
        {"a\tb\nc", "abc"},
        {QString("x") + QChar(19) + QChar(0), "x"},
        {QString(QChar(20)) + QChar(31), QString(QChar(20)) + QChar(31)}};
    for (const auto& [text, escaped] : rows)
        EXPECT_EQ(BMXMLParser::escapeQueryString(text), escaped) << text.toStdString();
    const QString log = logText();
    EXPECT_EQ(log.count("Stripped character"), 4) << log.toStdString();
    EXPECT_TRUE(log.contains(QString("Stripped character ") + QChar(19)));
}

TEST_F(XmlParser, GathersTextsAndNodesAndLogsBadQueries) {
    const pugi::xml_document document =
        parse("<r><i>one</i><i></i><i>two<x>2</x></i><j a='attr'>three</j></r>");
    const pugi::xml_node root = document.child("r");
    EXPECT_EQ(BMXMLParser::stringValuesForQuery("./i", root), (QStringList{"one", "two2"}));
    EXPECT_EQ(BMXMLParser::stringValueForQuery("./j/@a", root), "attr");
    EXPECT_TRUE(BMXMLParser::stringValueForQuery("./none", root).isNull());
    const BMXMLParser::Nodes contexts = BMXMLParser::nodesForQuery("./*", root);
    EXPECT_EQ(texts(BMXMLParser::queryNodes(contexts + contexts, "./text()")),
              (QStringList{"one", "two", "three", "one", "two", "three"}));
    EXPECT_EQ(texts(BMXMLParser::nodesFromQueries(root, {"./j", "./i", "./j | ./i[1]"})),
              (QStringList{"three", "one", "", "two2"}));

    EXPECT_TRUE(BMXMLParser::nodesForQuery("./a[[", document).isEmpty());
    EXPECT_TRUE(BMXMLParser::nodesForQuery("count(./a)", document).isEmpty());
    EXPECT_EQ(logText().count("XML parsing error: "), 2);
}

TEST_F(XmlParser, NamesComeFromTheNameElementOrTheId) {
    // The node, whether only its own children count, and its name (null: nothing).
    const std::tuple<const char*, bool, const char*> rows[] = {
        {"<c id='c'><name>Interview</name><x><name>Deep</name></x></c>", true, "Interview"},
        {"<c id='c'><x><name>Deep</name></x></c>", false, "Deep"},
        {"<c id='c'><x><name>Deep</name></x></c>", true, nullptr},
        {"<c id='Take%201'/>", false, "Take 1"},
        {"<c><name>My%20Clip%2FA</name></c>", false, "My Clip/A"},
        {"<c><name>100%</name></c>", false, "100%"},
        {"<c><name>Caf%C3%A9</name></c>", false, "Caf%C3%A9"},
        {"<c/>", false, nullptr}};
    for (const auto& [xml, immediate, expected] : rows) {
        const QString name = BMXMLParser::nameForNode(parse(xml).first_child(), immediate);
        EXPECT_EQ(name.isNull() ? "(null)" : name, expected ? expected : "(null)") << xml;
    }
    const pugi::xml_document document =
        parse("<seq id='s%2D1'><uuid>A-1</uuid><clip id='c'><media><uuid>B%2D2</uuid></media></clip></seq>");
    const pugi::xml_node seq = document.child("seq");
    EXPECT_EQ(BMXMLParser::uuidForNode(seq), "A-1");
    EXPECT_EQ(BMXMLParser::uuidForNode(seq.child("clip")), "B-2");
    EXPECT_TRUE(BMXMLParser::uuidForNode(seq.child("clip"), true).isNull());
    EXPECT_EQ(BMXMLParser::idAttributeForNode(seq), "s-1");
    EXPECT_TRUE(BMXMLParser::idAttributeForNode(seq.child("uuid")).isNull());
}

TEST(XmlPaths, TakeThePathOfAUrl) {
    EXPECT_EQ(BMXMLParser::filenameFromPathURLString("file://localhost/Users/jo/My%20Movie.mov"),
              "/Users/jo/My Movie.mov");
    EXPECT_EQ(BMXMLParser::filenameFromPathURLString("file:///Volumes/Media/a.mov"), "/Volumes/Media/a.mov");
    EXPECT_TRUE(BMXMLParser::filenameFromPathURLString("file://host/a b%zz").isNull());
}

TEST_F(XmlParser, WalksUpToANamedParentAndOnToTheNextNode) {
    const pugi::xml_document document =
        parse("<project><bin><seq><track><clip/></track></seq></bin><b/><c><c1/></c></project>");
    const pugi::xml_node clip = document.select_node("//clip").node();
    auto parent = [&](const char* name, const QStringList& limits = {}) {
        return QString::fromUtf8(BMXMLParser::parentWithName(clip, QString::fromLatin1(name), limits).name());
    };
    EXPECT_EQ(parent("bin"), "bin");
    EXPECT_EQ(parent("bin", {"seq"}), "");
    EXPECT_EQ(parent("track", {"track"}), "track");
    EXPECT_EQ(parent("timeline"), "");
    auto next = [&](const char* path) {
        return QString::fromUtf8(BMXMLParser::nextSiblingForNode(document.select_node(path).node()).name());
    };
    EXPECT_EQ(next("//bin"), "b");
    EXPECT_EQ(next("//clip"), "b") << "the ancestor's sibling, skipping nothing else";
    EXPECT_EQ(next("//c1"), "");
}

TEST_F(XmlParser, ClipRangesFollowTransitionsBothWays) {
    QByteArray xml("<track>");
    for (const QByteArray item : {"clipitem A 0 100", "clipitem B 100 -1", "transitionitem T1 180 220",
                                  "clipitem C -1 -1", "transitionitem T2 300 340", "clipitem D -1 400",
                                  "clipitem E 400 -1", "generatoritem F -1 480", "clipitem G 480 -1"}) {
        const QList<QByteArray> p = item.split(' ');
        xml += "<" + p[0] + " n='" + p[1] + "'><start>" + p[2] + "</start><end>" + p[3] + "</end></" + p[0] +
               ">";
    }
    const pugi::xml_document document = parse((xml + "</track>").constData());
    // The clip, then the affected nodes with the start and the end.
    for (const char* row : {"A A 0 100", "B B T1 C T2 D 100 400", "C B T1 C T2 D 100 400",
                            "D B T1 C T2 D 100 400", "E E F 400 480", "G G 480 -1"}) {
        const QByteArray query = "//*[@n='" + QByteArray(row).left(1) + "']";
        int start = 12345;
        int end = 12345;
        QStringList found;
        for (const pugi::xml_node& node :
             BMXMLParser::affectedNodesForClip(document.select_node(query.constData()).node(), &start, &end))
            found << QString::fromUtf8(node.attribute("n").value());
        found << QString::number(start) << QString::number(end);
        EXPECT_EQ(found.join(QLatin1Char(' ')), QString::fromLatin1(row + 2)) << row;
    }
}

TEST(XmlPreviewQuery, MatchesTheParenthesisedStepOnEveryOrder) {
    // Per context node, the first of the union in document order: every order of four children.
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
