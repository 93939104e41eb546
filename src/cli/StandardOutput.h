#pragma once

#include <QString>

// Writes results to standard output as UTF-8 and flushes them, so that they reach a pipe in
// order with what the program says on standard error.
void writeStandardOutput(const QString& text);
