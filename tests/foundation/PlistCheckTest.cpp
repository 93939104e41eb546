#include "foundation/PlistCheck.h"

#include "foundation/PlistFile.h"

#include <QDateTime>
#include <QList>
#include <QtEndian>

#include <gtest/gtest.h>
#include <plist/plist.h>

namespace {

// Binary property lists written object by object, so that each can be made wrong on purpose.
class Bplist {
public:
    int add(const QByteArray& object) {
        m_objects.append(object);
        return int(m_objects.size() - 1);
    }
    static QByteArray withCount(int kind, qsizetype count) {
        QByteArray marker;
        if (count < 15) {
            marker.append(char((kind << 4) | int(count)));
        } else {
            marker.append(char((kind << 4) | 0x0f));
            marker.append(char(0x11));
            marker.append(char(count >> 8)).append(char(count & 0xff));
        }
        return marker;
    }
    static QByteArray ascii(const QByteArray& text) { return withCount(0x5, text.size()) + text; }
    static QByteArray utf16(const QString& text) {
        QByteArray bytes = withCount(0x6, text.size());
        for (const QChar c : text)
            bytes.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
        return bytes;
    }
    static QByteArray integer(int value) { return QByteArray(1, char(0x10)) + char(value); }
    static QByteArray array(const QList<int>& refs) {
        QByteArray bytes = withCount(0xA, refs.size());
        for (const int ref : refs)
            bytes.append(char(ref));
        return bytes;
    }
    static QByteArray dict(const QList<int>& keys, const QList<int>& values) {
        QByteArray bytes = withCount(0xD, keys.size());
        for (const int ref : keys + values)
            bytes.append(char(ref));
        return bytes;
    }
    // One-byte references, two-byte offsets; the first object added is the top one unless
    // said otherwise.
    QByteArray bytes(int top = 0, int extraOffset = 0) const {
        QByteArray out("bplist00");
        QList<int> offsets;
        for (const QByteArray& object : m_objects) {
            offsets.append(int(out.size()));
            out.append(object);
        }
        const quint64 table = quint64(out.size());
        for (const int offset : offsets)
            out.append(char((offset + extraOffset) >> 8)).append(char((offset + extraOffset) & 0xff));
        out.append(QByteArray(6, 0)).append(char(2)).append(char(1));
        auto number = [&out](quint64 value) {
            char buffer[8];
            qToBigEndian(value, buffer);
            out.append(buffer, 8);
        };
        number(quint64(m_objects.size()));
        number(quint64(top));
        number(table);
        return out;
    }

private:
    QList<QByteArray> m_objects;
};

QByteArray nestedArrays(int depth) {
    Bplist plist;
    for (int i = 0; i < depth; ++i)
        plist.add(Bplist::array({i + 1}));
    plist.add(Bplist::integer(7));
    return plist.bytes();
}

// Every array holds the next one twice: 2^levels values from a few hundred bytes.
QByteArray sharedExpansion(int levels) {
    Bplist plist;
    for (int i = 0; i < levels; ++i)
        plist.add(Bplist::array({i + 1, i + 1}));
    plist.add(Bplist::integer(1));
    return plist.bytes();
}

QByteArray validDictionary() {
    Bplist plist;
    plist.add(Bplist::dict({1, 2}, {3, 4}));
    plist.add(Bplist::ascii("name"));
    plist.add(Bplist::utf16(QStringLiteral("lé")));
    plist.add(Bplist::ascii("Final Cut Pro"));
    plist.add(Bplist::array({5, 5}));
    plist.add(Bplist::integer(42));
    return plist.bytes();
}

QByteArray xmlNested(int depth) {
    QByteArray xml = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
    for (int i = 0; i < depth; ++i)
        xml += "<array>";
    xml += "<string>x</string>";
    for (int i = 0; i < depth; ++i)
        xml += "</array>";
    return xml + "</plist>";
}

} // namespace

TEST(PlistCheck, AcceptsWellFormedLists) {
    const std::optional<QVariant> value = PlistFile::parse(validDictionary());
    ASSERT_TRUE(value);
    EXPECT_EQ(value->toMap().value("name").toString(), "Final Cut Pro");
    EXPECT_EQ(value->toMap().value(QStringLiteral("lé")).toList(), (QVariantList{qint64(42), qint64(42)}));
    EXPECT_TRUE(PlistFile::parse(nestedArrays(60)));
    EXPECT_TRUE(PlistFile::parse(sharedExpansion(12)));
    EXPECT_TRUE(PlistFile::parse(xmlNested(60)));
    const QByteArray commented =
        "<?xml version=\"1.0\"?><!-- " + QByteArray(200, '<') +
        " --><plist version='1.0'><string><![CDATA[<array><array>]]></string></plist>";
    EXPECT_EQ(PlistFile::parse(commented).value_or(QVariant()).toString(), "<array><array>");
}

TEST(PlistCheck, PassesWhatLibplistWrites) {
    // A preference file as an editor leaves it: many keys (two-byte references), text that
    // is not ASCII (stored as UTF-16), every kind of value.
    QVariantMap preferences{
        {QStringLiteral("OZPreferenceManager::AutosaveVaultPath"),
         QStringLiteral("/Users/jö/Documents/Motion Documents/Autosave Vault")},
        {QStringLiteral("Flag"), true},
        {QStringLiteral("Scale"), 1.5},
        {QStringLiteral("Big"), qint64(1) << 40},
        {QStringLiteral("Seen"), QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC)},
        {QStringLiteral("Blob"), QByteArray("\0\1\2", 3)},
        {QStringLiteral("Nested"), QVariantList{QVariantMap{{QStringLiteral("a"), QStringLiteral("b")}}}}};
    for (int i = 0; i < 300; ++i)
        preferences.insert(QStringLiteral("Recent %1").arg(i),
                           QStringLiteral("/Volumes/Media/Project %1").arg(i));
    const QByteArray xml = PlistFile::toXml(preferences);
    plist_t root = nullptr;
    plist_from_xml(xml.constData(), uint32_t(xml.size()), &root);
    char* binary = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &binary, &length);
    const QByteArray bytes(binary, qsizetype(length));
    plist_to_bin_free(binary);
    plist_free(root);

    QString reason;
    EXPECT_TRUE(PlistCheck::isSafeBinary(bytes, &reason)) << reason.toStdString();
    EXPECT_EQ(PlistFile::parse(bytes).value_or(QVariant()).toMap(), preferences);
}

struct HostileRow {
    const char* name;
    QByteArray (*make)();
};

class PlistCheckHostile : public ::testing::TestWithParam<HostileRow> {};

TEST_P(PlistCheckHostile, IsRefusedWithoutReachingLibplist) {
    // Each of these aborts or overflows the stack inside libplist 2.2 when handed to it.
    EXPECT_FALSE(PlistFile::parse(GetParam().make()));
}

INSTANTIATE_TEST_SUITE_P(
    Files, PlistCheckHostile,
    ::testing::Values(
        HostileRow{"NulInAsciiString",
                   [] {
                       Bplist p;
                       p.add(Bplist::ascii(QByteArray("a\0b", 3)));
                       return p.bytes();
                   }},
        HostileRow{"NulInUtf16String",
                   [] {
                       Bplist p;
                       p.add(Bplist::utf16(QString(QChar(0)) + "x"));
                       return p.bytes();
                   }},
        HostileRow{"NulInKey",
                   [] {
                       Bplist p;
                       p.add(Bplist::dict({1}, {2}));
                       p.add(Bplist::ascii(QByteArray("k\0", 2)));
                       p.add(Bplist::integer(1));
                       return p.bytes();
                   }},
        HostileRow{"KeyThatIsNoString",
                   [] {
                       Bplist p;
                       p.add(Bplist::dict({1}, {1}));
                       p.add(Bplist::integer(1));
                       return p.bytes();
                   }},
        HostileRow{"ArrayHoldingItself",
                   [] {
                       Bplist p;
                       p.add(Bplist::array({0}));
                       return p.bytes();
                   }},
        HostileRow{"TwoArraysHoldingEachOther",
                   [] {
                       Bplist p;
                       p.add(Bplist::array({1}));
                       p.add(Bplist::array({0}));
                       return p.bytes();
                   }},
        HostileRow{"ReferenceToAMissingObject",
                   [] {
                       Bplist p;
                       p.add(Bplist::array({9}));
                       return p.bytes();
                   }},
        HostileRow{"OffsetsOutsideTheFile",
                   [] {
                       Bplist p;
                       p.add(Bplist::integer(1));
                       return p.bytes(0, 4000);
                   }},
        HostileRow{"StringLongerThanTheFile",
                   [] {
                       Bplist p;
                       p.add(Bplist::withCount(0x5, 60000) + "short");
                       return p.bytes();
                   }},
        HostileRow{"DeeplyNested", [] { return nestedArrays(70); }},
        HostileRow{"BillionsFromSharing", [] { return sharedExpansion(40); }},
        HostileRow{"TrailerDamaged",
                   [] { return validDictionary().left(validDictionary().size() - 9) + QByteArray(9, 9); }},
        HostileRow{"XmlWithNul", [] { return QByteArray("<plist><key>a\0b</key></plist>", 29); }},
        HostileRow{"XmlNestedFarTooDeep", [] { return xmlNested(300000); }},
        HostileRow{"XmlNestedDeep", [] { return xmlNested(100); }}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PlistCheck, RefusesEveryTruncationOfABinaryList) {
    const QByteArray whole = validDictionary();
    for (qsizetype length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(PlistFile::parse(whole.left(length))) << length;
}

TEST(PlistCheck, SaysWhy) {
    QString reason;
    EXPECT_FALSE(PlistCheck::isSafeBinary(nestedArrays(70), &reason));
    EXPECT_EQ(reason, "nesting too deep");
    EXPECT_FALSE(PlistCheck::isSafeBinary(sharedExpansion(40), &reason));
    EXPECT_EQ(reason, "too many values");
    EXPECT_FALSE(PlistCheck::isSafeXml(xmlNested(100), &reason));
    EXPECT_EQ(reason, "nesting too deep");
}
