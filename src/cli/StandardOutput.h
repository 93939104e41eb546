#pragma once

#include <QString>

#include <cstdio>

// Writes results to standard output as UTF-8 and flushes them, so that they reach a pipe in
// order with what the program says on standard error.
void writeStandardOutput(const QString& text);

// The same for bytes on a stream (standard output in the program). The first failure is kept:
// a listing cut short on a full disk must not pass for a whole one.
void writeOutput(std::FILE* out, const char* data, size_t size);
void flushOutput(std::FILE* out);

// Null when everything written reached its stream; otherwise the system's cause in words.
QString outputProblem();
