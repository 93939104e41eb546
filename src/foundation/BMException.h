#pragma once

#include <QString>

#include <stdexcept>

// An exception that carries a name of its own, as the messaging layer's time-out does.
class BMNamedException : public std::runtime_error {
public:
    BMNamedException(QString name, const QString& reason)
        : std::runtime_error(reason.toStdString()), m_name(std::move(name)) {}
    const QString& name() const { return m_name; }

private:
    QString m_name;
};

// Formats caught exceptions into the log under the method that caught them.
class BMException {
public:
    // Logs "Exception in <method>. <name> - <reason>." and returns that text. The method
    // is written the way the catching method names itself, "-[AppController populateData:]".
    static QString logException(const std::exception& exception, const char* method);
    // For catch (...): an exception of unknown type.
    static QString logUnknownException(const char* method);
    static bool didTimeout(const std::exception& exception);
    // The name an exception goes by: its own for named exceptions, else its type.
    static QString nameOf(const std::exception& exception);
};
