#include "ArgumentChecks.h"

#include <algorithm>

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

CLI::Validator nonEmptyPath() {
    return CLI::Validator(
        [](std::string& text) -> std::string {
            return text.empty() ? "a path is expected, not an empty text" : std::string();
        },
        "");
}

} // namespace ArgumentChecks
