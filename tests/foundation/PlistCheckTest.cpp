#include "foundation/PlistCheck.h"

#include "FileOpsFixture.h"
#include "foundation/PlistFile.h"

#include <QDateTime>
#include <QList>
#include <QtEndian>

namespace {

// Binary property lists written object by object, so that each can be made wrong on purpose.
struct Bplist {
    static QByteArray withCount(int kind, qsizetype count) {
        QByteArray marker(1, char((kind << 4) | int(std::min<qsizetype>(count, 15))));
        return count < 15 ? marker : marker + char(0x11) + char(count >> 8) + char(count & 0xff);
    }
    static QByteArray ascii(const QByteArray& text) { return withCount(0x5, text.size()) + text; }
    static QByteArray utf16(const QString& text) {
        QByteArray bytes = withCount(0x6, text.size());
        for (const QChar c : text)
            bytes.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
        return bytes;
    }
    static QByteArray integer(int value) { return QByteArray(1, char(0x10)) + char(value); }
    static QByteArray array(const QList<int>& refs) { return withCount(0xA, refs.size()) + bytes(refs); }
    static QByteArray dict(const QList<int>& keys, const QList<int>& values) {
        return withCount(0xD, keys.size()) + bytes(keys + values);
    }
    static QByteArray bytes(const QList<int>& values) {
        QByteArray out;
        for (const int value : values)
            out.append(char(value));
        return out;
    }
    // The objects in order, the top one first; one-byte references, two-byte offsets.
    static QByteArray file(const QList<QByteArray>& objects, int extraOffset = 0) {
        QByteArray out("bplist00"), table;
        for (const QByteArray& object : objects) {
            const int offset = int(out.size()) + extraOffset;
            table.append(char(offset >> 8)).append(char(offset & 0xff));
            out.append(object);
        }
        const quint64 trailer[] = {qToBigEndian(quint64(objects.size())), 0,
                                   qToBigEndian(quint64(out.size()))};
        return out + table + QByteArray(6, 0) + char(2) + char(1) +
               QByteArray(reinterpret_cast<const char*>(trailer), sizeof trailer);
    }
};

// Arrays each holding the next one `copies` times, the last an integer: 2^levels values for two.
QByteArray chain(int levels, int copies = 1) {
    QList<QByteArray> objects;
    for (int i = 0; i < levels; ++i)
        objects << Bplist::array(QList<int>(copies, i + 1));
    return Bplist::file(objects << Bplist::integer(7));
}

QByteArray validDictionary() {
    return Bplist::file({Bplist::dict({1, 2}, {3, 4}), Bplist::ascii("name"), Bplist::utf16("lé"),
                         Bplist::ascii("Final Cut Pro"), Bplist::array({5, 5}), Bplist::integer(42)});
}

QByteArray xmlNested(int depth) {
    return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + QByteArray("<array>").repeated(depth) +
           "<string>x</string>" + QByteArray("</array>").repeated(depth) + "</plist>";
}

} // namespace

TEST(PlistCheck, AcceptsWellFormedListsAndWhatLibplistWritesAndRoundTripsEveryValueType) {
    const std::optional<QVariant> value = PlistFile::parse(validDictionary());
    ASSERT_TRUE(value);
    EXPECT_EQ(value->toMap().value("name").toString(), "Final Cut Pro");
    EXPECT_EQ(value->toMap().value("lé").toList(), (QVariantList{qint64(42), qint64(42)}));
    EXPECT_TRUE(PlistFile::parse(chain(60)));
    EXPECT_TRUE(PlistFile::parse(chain(12, 2)));
    EXPECT_TRUE(PlistFile::parse(xmlNested(60)));
    const QByteArray commented =
        "<?xml version=\"1.0\"?><!-- " + QByteArray(200, '<') +
        " --><plist version='1.0'><string><![CDATA[<array><array>]]></string></plist>";
    EXPECT_EQ(PlistFile::parse(commented).value_or(QVariant()).toString(), "<array><array>");
    // As an editor leaves it: two-byte references, UTF-16 text, every kind of value.
    QVariantMap preferences{
        {"OZPreferenceManager::AutosaveVaultPath", "/Users/jö/Documents/Motion Documents/Autosave Vault"},
        {"Flag", true},
        {"Scale", 2.5},
        {"Negative", qint64(-5)},
        {"Big", qint64(1) << 40},
        {"Seen", QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC)},
        {"Blob", QByteArray("\0\1\xff", 3)},
        {"Nested", QVariantList{"a", QVariantMap{{"n", qint64(1)}}}}};
    for (int i = 0; i < 300; ++i)
        preferences.insert(QString("Recent %1").arg(i), QString("/Volumes/Media/Project %1").arg(i));
    EXPECT_EQ(PlistFile::parse(PlistFile::toXml(preferences)).value_or(QVariant()).toMap(), preferences);

    const QByteArray bytes = binaryPlist(preferences);
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
        HostileRow{"DeeplyNested", chain(70), "nesting too deep"},
        HostileRow{"BillionsFromSharing", chain(40, 2), "too many values"},
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
