#pragma once

#include <QByteArrayView>
#include <QString>

// Checks a property list before libplist reads it. libplist 2.2 (Debian 12) aborts the whole
// program on a binary string holding a NUL character (an assertion in its string
// accessors), trusts offsets and lengths inside a binary file, and reads XML recursively, so
// that deep nesting overflows the stack.
class PlistCheck {
public:
    static constexpr int maximumDepth = 64;
    // Values once shared references are expanded: a file of a few kilobytes could otherwise
    // describe billions.
    static constexpr qint64 maximumValues = 1000000;

    // A binary file passes only when every offset, length and reference stays inside it,
    // strings hold no NUL, nothing refers back to itself, and the values it describes stay
    // within the limits. Otherwise false with the reason.
    static bool isSafeBinary(QByteArrayView bytes, QString* reason = nullptr);
    // An XML file passes when it holds no NUL character and its elements nest no deeper than
    // the limit (plus the plist element itself).
    static bool isSafeXml(QByteArrayView bytes, QString* reason = nullptr);
};
