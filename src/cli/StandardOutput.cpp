#include "StandardOutput.h"

#include <cerrno>
#include <cstring>

namespace {

int firstError = 0;

void note(bool failed) {
    if (failed && firstError == 0)
        firstError = errno != 0 ? errno : EIO;
}

} // namespace

void writeOutput(std::FILE* out, const char* data, size_t size) {
    errno = 0;
    note(std::fwrite(data, 1, size, out) != size);
}

void flushOutput(std::FILE* out) {
    errno = 0;
    note(std::fflush(out) != 0);
}

void writeStandardOutput(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    writeOutput(stdout, bytes.constData(), size_t(bytes.size()));
    flushOutput(stdout);
}

QString outputProblem() {
    return firstError == 0 ? QString() : QString::fromLocal8Bit(std::strerror(firstError));
}
