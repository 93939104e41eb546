#include "ArgumentChecks.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace ArgumentChecks {

CLI::Validator wholeNumber(long long minimum, long long maximum) {
    const std::string range = std::to_string(minimum) + " to " + std::to_string(maximum);
    return CLI::Validator(
        [minimum, maximum, range](std::string& text) -> std::string {
            const bool digits = !text.empty() && std::all_of(text.begin(), text.end(),
                                                             [](char c) { return c >= '0' && c <= '9'; });
            if (!digits)
                return "a whole number is expected, not \"" + text + "\"";
            const std::string::size_type first = text.find_first_not_of('0');
            const std::string decimal = first == std::string::npos ? "0" : text.substr(first);
            // More digits than the largest allowed value has cannot be in range (and would
            // overflow a conversion).
            const bool inRange = decimal.size() <= std::to_string(maximum).size() &&
                                 std::stoll(decimal) >= minimum && std::stoll(decimal) <= maximum;
            if (!inRange)
                return "a whole number from " + range + " is expected, not " + text;
            text = decimal;
            return std::string();
        },
        "whole number " + range);
}

CLI::Validator sizeWithUnit() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            const std::string refused =
                "a size with a unit is expected (\"500M\", \"1.5G\"; units B, K, M, G, T), not \"" + text +
                "\"";
            // By hand, not strtold: the program runs in the user's locale, where "1.5" may not parse.
            std::string::size_type end = 0;
            bool point = false;
            bool digits = false;
            long double number = 0;
            long double scale = 1;
            for (; end < text.size(); ++end) {
                const char c = text[end];
                if (c >= '0' && c <= '9') {
                    digits = true;
                    if (point)
                        number += (scale /= 10) * (c - '0');
                    else
                        number = number * 10 + (c - '0');
                } else if (c == '.' && !point) {
                    point = true;
                } else {
                    break;
                }
            }
            std::string unit = text.substr(end);
            std::transform(unit.begin(), unit.end(), unit.begin(),
                           [](char c) { return char(std::toupper(c)); });
            if (unit.size() == 2 && unit[1] == 'B' && unit[0] != 'B')
                unit.pop_back();
            const std::string units = "BKMGT";
            const std::string::size_type power = unit.size() == 1 ? units.find(unit[0]) : std::string::npos;
            if (!digits || power == std::string::npos)
                return refused;
            const long double bytes = number * std::pow(1024.0L, static_cast<long double>(power));
            if (bytes < 1.0L)
                return "a size above zero is expected, not " + text;
            if (bytes > 9.0e18L)
                return "a smaller size is expected, not " + text;
            text = std::to_string(static_cast<long long>(bytes));
            return std::string();
        },
        "size with a unit");
}

CLI::Validator nonEmptyPath() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            return text.empty() ? "a path is expected, not an empty text" : std::string();
        },
        "");
}

} // namespace ArgumentChecks
