#include "foundation/FileName.h"

#include <gtest/gtest.h>

namespace {

TEST(FileName, EveryByteSequenceComesBackExactlyAndOnlyInvalidUtf8IsMarked) {
    const QList<QByteArray> names = {
        "plain.prproj",
        "Caf\xc3\xa9 \xe2\x80\x93 cut.fcp", // é and an en dash
        "\xf0\x9f\x8e\xac Reel.avb",        // a character outside the BMP
        "Caf\xe9.fcp",                      // Latin-1 é
        "Sch\x9fne",                        // MacRoman ü
        "cut\xc3",                          // a sequence cut short at the end
        "\xc0\xaf overlong",                // "/" written in two bytes
        "\xed\xa0\x80 surrogate",           // U+D800 in three bytes
        "\xf4\x90\x80\x80 beyond",          // U+110000
        "\xff\xfe\x80",                     // never UTF-8
        QByteArray("with\nnewline\tand tab"),
    };
    // The first three and the last are valid UTF-8, decoded as such; the others are marked.
    for (qsizetype i = 0; i < names.size(); ++i) {
        const QString name = FileName::decode(names[i]);
        EXPECT_EQ(FileName::encode(name), names[i]) << names[i].toHex().constData();
        const bool valid = i < 3 || i == names.size() - 1;
        EXPECT_EQ(FileName::hasInvalidBytes(name), !valid) << names[i].toHex().constData();
        if (valid) {
            EXPECT_EQ(name, QString::fromUtf8(names[i]));
        }
    }
    EXPECT_EQ(FileName::decode("Caf\xe9.fcp").size(), 8) << "one character for the one invalid byte";
    EXPECT_TRUE(FileName::decode(QByteArray()).isNull());
}

TEST(FileName, DisplayTextEscapesWhatATerminalWouldMangle) {
    EXPECT_EQ(FileName::displayText(FileName::decode("Caf\xe9 1.fcp")), "Caf\\xe9 1.fcp");
    EXPECT_EQ(FileName::displayText("a\nb\tc\rd"), "a\\nb\\tc\\x0dd");
    const QString valid = QString::fromUtf8("Caf\xc3\xa9 \xf0\x9f\x8e\xac");
    EXPECT_EQ(FileName::displayText(valid), valid);
    // The marks that turn the text round are shown; right-to-left letters stay as they are.
    EXPECT_EQ(FileName::displayText(QString::fromUtf8("Shot \u202Eevom.prproj \u2067\u061C")),
              "Shot \\u202Eevom.prproj \\u2067\\u061C");
    const QString hebrew = QString::fromUtf8("\u05E9\u05DC\u05D5\u05DD 1.prproj");
    EXPECT_EQ(FileName::displayText(hebrew), hebrew);
}

// Names line up in a table as a terminal shows them, not by how many characters they hold.
TEST(FileName, DisplayColumnsCountWhatATerminalShows) {
    EXPECT_EQ(FileName::displayColumns(QString::fromUtf8("Vide\xcc\x81os")), 6); // decomposed, as from a Mac
    EXPECT_EQ(FileName::displayColumns(QString::fromUtf8("Vid\xc3\xa9os")), 6);
    EXPECT_EQ(FileName::displayColumns(QString::fromUtf8("\xe7\xb7\xa8\xe9\x9b\x86 1")),
              6);                                                                      // two CJK characters
    EXPECT_EQ(FileName::displayColumns(QString::fromUtf8("\xf0\x9f\x8e\xac Cut")), 6); // an emoji
    EXPECT_EQ(FileName::displayColumns(QString::fromUtf8("a\xe2\x80\x8b\xef\xb8\x8f"
                                                         "b")),
              2); // zero-width space, variation selector
    EXPECT_EQ(FileName::displayColumns("Caf\\xe9"), 7);
}

} // namespace
