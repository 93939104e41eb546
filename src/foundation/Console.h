#pragma once

#include <QString>

// What the program writes for a person watching its terminal or the system console (as
// opposed to the application log). The desktop application writes to standard output; the
// command-line tool sends it to standard error so standard output carries only its results.
class Console {
public:
    enum class Stream { StandardOutput, StandardError };
    static void setStream(Stream stream);
    // Writes the text followed by a line break.
    static void print(const QString& text);
    // Writes the text exactly as given.
    static void write(const QString& text);
};
