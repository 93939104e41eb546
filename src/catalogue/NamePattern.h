#pragma once

#include <QString>
#include <QStringView>

#include <vector>

// A shell-style file-name pattern, compiled once and matched many times: "*" any run of
// characters, "?" any one character, "[0-9]" / "[a-z_]" one character of a set ("[!...]" or
// "[^...]" of none of it), "\x" the character x itself. A "[" without its "]" stands for
// itself. Matching is case-sensitive and works on UTF-16 code units, like the file names it
// is used for; it never recurses and needs no allocation.
class NamePattern {
public:
    explicit NamePattern(const QString& pattern);

    bool matches(QStringView name) const;
    const QString& pattern() const { return m_pattern; }

private:
    struct Range {
        char16_t first;
        char16_t last;
    };
    struct Token {
        enum class Kind { Literal, AnyOne, Set, AnyRun } kind;
        char16_t literal = 0;
        bool negated = false;
        int firstRange = 0; // into m_ranges
        int rangeCount = 0;
    };

    bool tokenMatches(const Token& token, char16_t c) const;

    QString m_pattern;
    std::vector<Token> m_tokens;
    std::vector<Range> m_ranges;
};
