#include "BMAlert.h"

#include "foundation/BMSettings.h"
#include "foundation/Console.h"
#include "foundation/MainThread.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QEventLoop>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include <chrono>
#include <thread>

namespace {

constexpr char kOwnEndSelector[] = "alertDidEnd";
constexpr char kAnswerProperty[] = "vestryAlertAnswer";

// A window already carrying a sheet: a visible window-modal dialog parented to it.
bool hasSheet(QWidget* window) {
    for (QDialog* dialog : window->findChildren<QDialog*>(Qt::FindDirectChildrenOnly)) {
        if (dialog->isVisible() && dialog->windowModality() == Qt::WindowModal)
            return true;
    }
    return false;
}

int methodIndex(QObject* object, const QString& name) {
    const QByteArray signature =
        QMetaObject::normalizedSignature((name + QStringLiteral("(BMAlert*,int)")).toLatin1());
    return object->metaObject()->indexOfMethod(signature.constData());
}

// One short wait of the main thread that keeps the interface alive.
void pumpEventsBriefly() {
    QEventLoop loop;
    QTimer::singleShot(10, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

struct BMAlert::Request {
    Texts texts;
    QWidget* parentWindow = nullptr;
    QObject* delegate = nullptr;
    const char* didEndSelector = nullptr;
    bool block = true;
    std::shared_ptr<BMAlert> alertObject;
    QString suppressionBinding;
    int timerInterval = -1; // seconds; negative for an alert without a timer
};

bool BMAlert::Outcome::claim(int answer) {
    bool expected = false;
    if (!claimed.compare_exchange_strong(expected, true))
        return false;
    code.store(answer);
    value.store(true);
    return true;
}

BMAlert::BMAlert() : m_ended(std::make_shared<Outcome>()) {
}

BMAlert::~BMAlert() {
    m_delegate.clear();
    m_parentWindow.clear();
    if (m_alert)
        m_alert->deleteLater();
}

int BMAlert::alertSheetWithMessageText(const QString& message, const QString& informative,
                                       QWidget* parentWindow) {
    return alertSheetWithButtons(Texts{message, {}, {}, {}, informative}, parentWindow, true);
}

int BMAlert::alertSheetWithButtons(const Texts& texts, QWidget* parentWindow, bool block) {
    Request request;
    request.texts = texts;
    request.parentWindow = parentWindow;
    request.block = block;
    return run(request);
}

int BMAlert::alertSheetWithDelegate(const Texts& texts, QWidget* parentWindow, QObject* delegate,
                                    const char* didEndSelector, bool) {
    return alertSheetWithAlertObject(texts, parentWindow, delegate, didEndSelector, true, nullptr);
}

int BMAlert::alertSheetWithAlertObject(const Texts& texts, QWidget* parentWindow, QObject* delegate,
                                       const char* didEndSelector, bool block,
                                       std::shared_ptr<BMAlert> alertObject) {
    return alertSheetWithSuppressionBinding(texts, parentWindow, delegate, didEndSelector, block,
                                            std::move(alertObject), QString());
}

int BMAlert::alertSheetWithSuppressionBinding(const Texts& texts, QWidget* parentWindow, QObject* delegate,
                                              const char* didEndSelector, bool block,
                                              std::shared_ptr<BMAlert> alertObject,
                                              const QString& suppressionBinding) {
    Request request;
    request.texts = texts;
    request.parentWindow = parentWindow;
    request.delegate = delegate;
    request.didEndSelector = didEndSelector;
    request.block = block;
    request.alertObject = std::move(alertObject);
    request.suppressionBinding = suppressionBinding;
    return run(request);
}

int BMAlert::timedAlertSheetWithMessageText(const Texts& texts, QWidget* parentWindow, int interval) {
    Request request;
    request.texts = texts;
    request.parentWindow = parentWindow;
    request.timerInterval = qMax(interval, 0);
    return run(request);
}

int BMAlert::run(const Request& request) {
    std::shared_ptr<BMAlert> alert = request.alertObject ? request.alertObject : std::make_shared<BMAlert>();
    QPointer<QWidget> parent = request.parentWindow;
    MainThread::runAndWait([&] {
        // Rather than queueing behind another sheet, the alert gets a window of its own.
        if (parent && hasSheet(parent))
            parent = nullptr;
    });
    alert->m_parentWindow = parent;
    alert->m_delegate = request.delegate;
    alert->m_ended = std::make_shared<Outcome>();

    const QString selector =
        QString::fromLatin1(request.didEndSelector ? request.didEndSelector : kOwnEndSelector);
    if (request.delegate && methodIndex(request.delegate, selector) < 0) {
        Console::print(QStringLiteral("Alert error: delegate does not respond to selector %1").arg(selector));
        return -1;
    }

    if (request.timerInterval >= 0)
        std::thread(&BMAlert::fireAfter, alert->m_ended, request.timerInterval).detach();

    QVariantMap dictionary;
    dictionary.insert(messageTextKey, request.texts.message);
    auto addIfGiven = [&](const char* key, const QString& value) {
        if (!value.isEmpty())
            dictionary.insert(key, value);
    };
    addIfGiven(defaultButtonTitleKey, request.texts.defaultButton);
    addIfGiven(alternateButtonTitleKey, request.texts.alternateButton);
    addIfGiven(otherButtonTitleKey, request.texts.otherButton);
    addIfGiven(informativeTextKey, request.texts.informative);
    dictionary.insert(didEndSelectorKey, selector);
    addIfGiven(suppressionBindingKey, request.suppressionBinding);

    MainThread::runAndWait([&] {
        alert->alertSheetWithDictionary(dictionary);
        // Nobody waits for a non-blocking alert: its box keeps it alive until answered,
        // then goes.
        if (!request.block && alert->m_alert) {
            QMessageBox* box = alert->m_alert;
            QObject::connect(box, &QMessageBox::buttonClicked, box,
                             [box, keep = alert] { box->deleteLater(); });
        }
    });
    if (!request.block)
        return -1;

    alert->waitForAnswer();
    MainThread::runAndWait([&] { alert->closeOnMainThread(); });
    return alert->returnCode();
}

void BMAlert::alertSheetWithDictionary(const QVariantMap& dictionary) {
    auto* box = new QMessageBox(m_parentWindow);
    box->setAttribute(Qt::WA_DeleteOnClose, false);
    box->setIcon(QMessageBox::Warning);
    box->setText(dictionary.value(messageTextKey).toString());
    // Plain text: percent signs, angle brackets and ampersands show as they are.
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(dictionary.value(informativeTextKey).toString());

    const QString defaultTitle = dictionary.value(defaultButtonTitleKey, QStringLiteral("OK")).toString();
    QPushButton* defaultButton = box->addButton(defaultTitle, QMessageBox::AcceptRole);
    defaultButton->setProperty(kAnswerProperty, 1);
    box->setDefaultButton(defaultButton);
    if (dictionary.contains(alternateButtonTitleKey)) {
        QPushButton* alternate =
            box->addButton(dictionary.value(alternateButtonTitleKey).toString(), QMessageBox::RejectRole);
        alternate->setProperty(kAnswerProperty, 0);
        box->setEscapeButton(alternate);
    }
    if (dictionary.contains(otherButtonTitleKey)) {
        QPushButton* other =
            box->addButton(dictionary.value(otherButtonTitleKey).toString(), QMessageBox::DestructiveRole);
        other->setProperty(kAnswerProperty, -1);
    }

    if (dictionary.contains(suppressionBindingKey)) {
        const QString key = dictionary.value(suppressionBindingKey).toString();
        auto* suppress = new QCheckBox(QObject::tr("Do not show this message again"));
        suppress->setChecked(BMSettings::standard().boolValue(key));
        QObject::connect(suppress, &QCheckBox::toggled, suppress,
                         [key](bool on) { BMSettings::standard().setValue(key, on); });
        box->setCheckBox(suppress);
    }

    const QString selector = dictionary.value(didEndSelectorKey).toString();
    QPointer<QObject> delegate = m_delegate;
    QObject::connect(
        box, &QMessageBox::buttonClicked, box, [this, box, delegate, selector](QAbstractButton* button) {
            const int answer = button->property(kAnswerProperty).toInt();
            if (delegate) {
                QMetaObject::invokeMethod(delegate, selector.toLatin1().constData(), Qt::DirectConnection,
                                          Q_ARG(BMAlert*, this), Q_ARG(int, answer));
            }
            // The answer is always recorded, so a caller waiting on a delegate's sheet ends too.
            alertDidEnd(answer);
            box->hide();
        });

    m_alert = box;
    if (m_parentWindow) {
        m_parentWindow->raise();
        m_parentWindow->activateWindow();
        box->setWindowModality(Qt::WindowModal);
    } else {
        box->setWindowModality(Qt::ApplicationModal);
    }
    box->show();
}

void BMAlert::alertDidEnd(int returnCode) {
    m_ended->claim(returnCode);
}

void BMAlert::defaultReturnAfterTimeInterval(int seconds) {
    fireAfter(m_ended, seconds);
}

void BMAlert::fireAfter(std::shared_ptr<Outcome> outcome, int seconds) {
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    outcome->claim(1);
}

void BMAlert::waitForAnswer() const {
    const std::shared_ptr<Outcome> outcome = m_ended;
    while (!outcome->value.load()) {
        if (MainThread::isCurrent())
            pumpEventsBriefly();
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
}

void BMAlert::closeOnMainThread() {
    if (m_alert) {
        m_alert->hide();
        m_alert->deleteLater();
    }
    m_alert = nullptr;
}
