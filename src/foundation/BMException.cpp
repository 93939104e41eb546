#include "BMException.h"

#include "BMLog.h"

#include <cstdlib>
#include <cxxabi.h>
#include <memory>
#include <typeinfo>

QString BMException::nameOf(const std::exception& exception) {
    if (const auto* named = dynamic_cast<const BMNamedException*>(&exception))
        return named->name();
    const char* mangled = typeid(exception).name();
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                     std::free);
    return QString::fromLatin1(status == 0 && demangled ? demangled.get() : mangled);
}

QString BMException::logException(const std::exception& exception, const char* method) {
    const QString text =
        QStringLiteral("Exception in %1. %2 - %3.")
            .arg(QString::fromUtf8(method), nameOf(exception), QString::fromUtf8(exception.what()));
    BMLog::appendLogAndPrint(text);
    return text;
}

QString BMException::logUnknownException(const char* method) {
    const QString text = QStringLiteral("Exception in %1. %2 - %3.")
                             .arg(QString::fromUtf8(method), QStringLiteral("unknown"), QString());
    BMLog::appendLogAndPrint(text);
    return text;
}

bool BMException::didTimeout(const std::exception& exception) {
    return nameOf(exception) == QLatin1String("NSPortTimeoutException");
}
