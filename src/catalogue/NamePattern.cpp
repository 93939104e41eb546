#include "NamePattern.h"

NamePattern::NamePattern(const QString& pattern) : m_pattern(pattern) {
    const qsizetype n = pattern.size();
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t c = pattern[i].unicode();
        Token token{Token::Kind::Literal};
        if (c == u'*') {
            // A run of stars is one star.
            if (!m_tokens.empty() && m_tokens.back().kind == Token::Kind::AnyRun)
                continue;
            token.kind = Token::Kind::AnyRun;
        } else if (c == u'?') {
            token.kind = Token::Kind::AnyOne;
        } else if (c == u'\\' && i + 1 < n) {
            token.literal = pattern[++i].unicode();
        } else if (c == u'[') {
            // Find the closing bracket; a "]" right after "[" or "[!" belongs to the set.
            qsizetype j = i + 1;
            const bool negated = j < n && (pattern[j] == u'!' || pattern[j] == u'^');
            if (negated)
                ++j;
            const qsizetype setStart = j;
            if (j < n && pattern[j] == u']')
                ++j;
            while (j < n && pattern[j] != u']')
                ++j;
            if (j >= n) {
                token.literal = c; // no closing bracket: a plain "["
            } else {
                token.kind = Token::Kind::Set;
                token.negated = negated;
                token.firstRange = int(m_ranges.size());
                for (qsizetype k = setStart; k < j; ++k) {
                    const char16_t first = pattern[k].unicode();
                    if (k + 2 < j && pattern[k + 1] == u'-') {
                        m_ranges.push_back({first, pattern[k + 2].unicode()});
                        k += 2;
                    } else {
                        m_ranges.push_back({first, first});
                    }
                }
                token.rangeCount = int(m_ranges.size()) - token.firstRange;
                i = j;
            }
        } else {
            token.literal = c;
        }
        m_tokens.push_back(token);
    }
}

bool NamePattern::tokenMatches(const Token& token, char16_t c) const {
    switch (token.kind) {
    case Token::Kind::Literal:
        return token.literal == c;
    case Token::Kind::AnyOne:
        return true;
    case Token::Kind::Set: {
        bool inSet = false;
        for (int r = token.firstRange; r < token.firstRange + token.rangeCount && !inSet; ++r)
            inSet = m_ranges[r].first <= c && c <= m_ranges[r].last;
        return inSet != token.negated;
    }
    case Token::Kind::AnyRun:
        break;
    }
    return false;
}

bool NamePattern::matches(QStringView name) const {
    // Every token but "*" takes exactly one character, so going back to the last "*" and
    // letting it take one more character is enough: linear for the patterns in use, never
    // worse than quadratic.
    const size_t tokenCount = m_tokens.size();
    const qsizetype length = name.size();
    size_t t = 0;
    qsizetype n = 0;
    size_t starToken = size_t(-1);
    qsizetype starName = 0;
    while (n < length) {
        if (t < tokenCount && m_tokens[t].kind != Token::Kind::AnyRun &&
            tokenMatches(m_tokens[t], name[n].unicode())) {
            ++t;
            ++n;
        } else if (t < tokenCount && m_tokens[t].kind == Token::Kind::AnyRun) {
            starToken = t++;
            starName = n;
        } else if (starToken != size_t(-1)) {
            t = starToken + 1;
            n = ++starName;
        } else {
            return false;
        }
    }
    while (t < tokenCount && m_tokens[t].kind == Token::Kind::AnyRun)
        ++t;
    return t == tokenCount;
}
