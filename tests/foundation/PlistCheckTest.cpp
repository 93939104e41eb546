#include "foundation/PlistCheck.h"

#include "QtPrinters.h"
#include "foundation/PlistFile.h"

#include <QDateTime>
#include <QList>
#include <QtEndian>

#include <gtest/gtest.h>
#include <plist/plist.h>

namespace {

// Binary property lists written object by object, so that each can be made wrong on purpose.
namespace Bplist {
QByteArray withCount(int kind, qsizetype count) {
    QByteArray marker(1, char((kind << 4) | int(std::min<qsizetype>(count, 15))));
    if (count >= 15)
        marker.append(char(0x11)).append(char(count >> 8)).append(char(count & 0xff));
    return marker;
}
QByteArray ascii(const QByteArray& text) {
    return withCount(0x5, text.size()) + text;
}
QByteArray utf16(const QString& text) {
    QByteArray bytes = withCount(0x6, text.size());
    for (const QChar c : text)
        bytes.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
    return bytes;
}
QByteArray integer(int value) {
    return QByteArray(1, char(0x10)) + char(value);
}
QByteArray references(int kind, qsizetype count, const QList<int>& refs) {
    QByteArray bytes = withCount(kind, count);
    for (const int ref : refs)
        bytes.append(char(ref));
    return bytes;
}
QByteArray array(const QList<int>& refs) {
    return references(0xA, refs.size(), refs);
}
QByteArray dict(const QList<int>& keys, const QList<int>& values) {
    return references(0xD, keys.size(), keys + values);
}
// The objects in order, the top one first; one-byte references, two-byte offsets.
QByteArray file(const QList<QByteArray>& objects, int extraOffset = 0) {
    QByteArray out("bplist00");
    QList<int> offsets;
    for (const QByteArray& object : objects) {
        offsets.append(int(out.size()) + extraOffset);
        out.append(object);
    }
    const quint64 table = quint64(out.size());
    for (const int offset : offsets)
        out.append(char(offset >> 8)).append(char(offset & 0xff));
    out.append(QByteArray(6, 0)).append(char(2)).append(char(1));
    for (const quint64 number : {quint64(objects.size()), quint64(0), table}) {
        char buffer[8];
        qToBigEndian(number, buffer);
        out.append(buffer, 8);
    }
    return out;
}
} // namespace Bplist

QByteArray nestedArrays(int depth) {
    QList<QByteArray> objects;
    for (int i = 0; i < depth; ++i)
        objects << Bplist::array({i + 1});
    return Bplist::file(objects << Bplist::integer(7));
}

// Every array holds the next one twice: 2^levels values from a few hundred bytes.
QByteArray sharedExpansion(int levels) {
    QList<QByteArray> objects;
    for (int i = 0; i < levels; ++i)
        objects << Bplist::array({i + 1, i + 1});
    return Bplist::file(objects << Bplist::integer(1));
}

QByteArray validDictionary() {
    return Bplist::file({Bplist::dict({1, 2}, {3, 4}), Bplist::ascii("name"),
                         Bplist::utf16(QStringLiteral("lé")), Bplist::ascii("Final Cut Pro"),
                         Bplist::array({5, 5}), Bplist::integer(42)});
}

QByteArray xmlNested(int depth) {
    return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + QByteArray("<array>").repeated(depth) +
           "<string>x</string>" + QByteArray("</array>").repeated(depth) + "</plist>";
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

TEST(PlistCheck, PassesWhatLibplistWritesAndRoundTripsEveryValueType) {
    // A preference file as an editor leaves it: many keys (two-byte references), text that
    // is not ASCII (stored as UTF-16), every kind of value.
    QVariantMap preferences{
        {QStringLiteral("OZPreferenceManager::AutosaveVaultPath"),
         QStringLiteral("/Users/jö/Documents/Motion Documents/Autosave Vault")},
        {QStringLiteral("Flag"), true},
        {QStringLiteral("Scale"), 2.5},
        {QStringLiteral("Negative"), qint64(-5)},
        {QStringLiteral("Big"), qint64(1) << 40},
        {QStringLiteral("Seen"), QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC)},
        {QStringLiteral("Blob"), QByteArray("\0\1\xff", 3)},
        {QStringLiteral("Nested"),
         QVariantList{QStringLiteral("a"), QVariantMap{{QStringLiteral("n"), qint64(1)}}}}};
    for (int i = 0; i < 300; ++i)
        preferences.insert(QStringLiteral("Recent %1").arg(i),
                           QStringLiteral("/Volumes/Media/Project %1").arg(i));
    const QByteArray xml = PlistFile::toXml(preferences);
    EXPECT_EQ(PlistFile::parse(xml).value_or(QVariant()).toMap(), preferences);

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
    QByteArray bytes;
    const char* reason = nullptr; // when the check's reason is asserted too
};

class PlistCheckHostile : public ::testing::TestWithParam<HostileRow> {};

TEST_P(PlistCheckHostile, IsRefusedWithoutReachingLibplist) {
    // Each binary or deep one aborts or overflows the stack inside libplist 2.2 when handed to it.
    EXPECT_FALSE(PlistFile::parse(GetParam().bytes));
    if (GetParam().reason) {
        QString reason;
        const bool binary = GetParam().bytes.startsWith("bplist");
        EXPECT_FALSE(binary ? PlistCheck::isSafeBinary(GetParam().bytes, &reason)
                            : PlistCheck::isSafeXml(GetParam().bytes, &reason));
        EXPECT_EQ(reason, QString::fromLatin1(GetParam().reason));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, PlistCheckHostile,
    ::testing::Values(
        HostileRow{"Empty", ""}, HostileRow{"BinaryGarbage", "bplist00garbage"},
        HostileRow{"XmlCutShort", "<plist><dict><key>a</key>"},
        HostileRow{"NulInAsciiString", Bplist::file({Bplist::ascii(QByteArray("a\0b", 3))})},
        HostileRow{"NulInUtf16String", Bplist::file({Bplist::utf16(QString(QChar(0)) + "x")})},
        HostileRow{"NulInKey", Bplist::file({Bplist::dict({1}, {2}), Bplist::ascii(QByteArray("k\0", 2)),
                                             Bplist::integer(1)})},
        HostileRow{"KeyThatIsNoString", Bplist::file({Bplist::dict({1}, {1}), Bplist::integer(1)})},
        HostileRow{"ArrayHoldingItself", Bplist::file({Bplist::array({0})})},
        HostileRow{"TwoArraysHoldingEachOther", Bplist::file({Bplist::array({1}), Bplist::array({0})})},
        HostileRow{"ReferenceToAMissingObject", Bplist::file({Bplist::array({9})})},
        HostileRow{"OffsetsOutsideTheFile", Bplist::file({Bplist::integer(1)}, 4000)},
        HostileRow{"StringLongerThanTheFile", Bplist::file({Bplist::withCount(0x5, 60000) + "short"})},
        HostileRow{"DeeplyNested", nestedArrays(70), "nesting too deep"},
        HostileRow{"BillionsFromSharing", sharedExpansion(40), "too many values"},
        HostileRow{"TrailerDamaged", validDictionary().chopped(9) + QByteArray(9, 9)},
        HostileRow{"XmlWithNul", QByteArray("<plist><key>a\0b</key></plist>", 29)},
        HostileRow{"XmlNestedFarTooDeep", xmlNested(300000)},
        HostileRow{"XmlNestedDeep", xmlNested(100), "nesting too deep"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PlistCheck, RefusesEveryTruncationOfABinaryList) {
    const QByteArray whole = validDictionary();
    for (qsizetype length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(PlistFile::parse(whole.left(length))) << length;
}
