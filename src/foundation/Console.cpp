#include "Console.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace {
std::atomic<Console::Stream> g_stream{Console::Stream::StandardOutput};
std::mutex g_writeMutex;
} // namespace

void Console::setStream(Stream stream) {
    g_stream.store(stream);
}

void Console::print(const QString& text) {
    write(text + QLatin1Char('\n'));
}

void Console::write(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::lock_guard lock(g_writeMutex);
    FILE* out = g_stream.load() == Stream::StandardError ? stderr : stdout;
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), out);
    std::fflush(out);
}
