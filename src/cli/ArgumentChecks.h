#pragma once

#include <CLI/CLI.hpp>

// Checks of what a user types, shared by the subcommands. CLI11's own number conversion
// reads "010" as octal and "0x2" as hexadecimal; a person means ten and nothing.
namespace ArgumentChecks {

// Decimal digits only, leading zeros allowed ("010" is 10), within [minimum, maximum];
// anything else ("0x2", "1.5", "-1", "abc", "") is refused with a message saying that a
// whole number is expected.
CLI::Validator wholeNumber(long long minimum, long long maximum);

// A size with a unit of 1024, as the window shows sizes: a decimal number ("500", "1.5") then
// B, K or KB, M or MB, G or GB, T or TB in either case ("500M", "2g", "750MB"), rewritten to
// its whole number of bytes (rounded down). No unit, another unit, zero or anything else is
// refused: "500" alone could mean bytes or megabytes.
CLI::Validator sizeWithUnit();

// Refuses an empty text where a path is expected: it names no file.
CLI::Validator nonEmptyPath();

} // namespace ArgumentChecks
