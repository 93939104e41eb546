#pragma once

#include <QMessageBox>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <atomic>
#include <memory>

class QObject;
class QWidget;

// Standard alerts shown as sheets (window-modal boxes) from any thread. A blocking call
// waits for the answer and returns it: 1 for the default button, 0 for the alternate, -1
// for the other button, and -1 also when the call did not wait or could not show.
//
// The end selector of a delegate is the name of a slot or Q_INVOKABLE method taking
// (BMAlert*, int), called on the main thread when the alert is answered.
class BMAlert {
public:
    struct Texts {
        QString message;
        QString defaultButton;   // the platform's "OK" when empty
        QString alternateButton; // no button when empty
        QString otherButton;     // no button when empty
        QString informative;
    };

    BMAlert();
    ~BMAlert();
    BMAlert(const BMAlert&) = delete;
    BMAlert& operator=(const BMAlert&) = delete;

    // One default button, blocking.
    static int alertSheetWithMessageText(const QString& message, const QString& informative,
                                         QWidget* parentWindow);
    static int alertSheetWithButtons(const Texts& texts, QWidget* parentWindow, bool block);
    // Always blocks: the block argument is ignored, as it always has been.
    static int alertSheetWithDelegate(const Texts& texts, QWidget* parentWindow, QObject* delegate,
                                      const char* didEndSelector, bool block);
    static int alertSheetWithAlertObject(const Texts& texts, QWidget* parentWindow, QObject* delegate,
                                         const char* didEndSelector, bool block,
                                         std::shared_ptr<BMAlert> alertObject);
    // The full form. With a suppression binding the alert shows a "Do not show this
    // message again" box bound to that settings key.
    static int alertSheetWithSuppressionBinding(const Texts& texts, QWidget* parentWindow, QObject* delegate,
                                                const char* didEndSelector, bool block,
                                                std::shared_ptr<BMAlert> alertObject,
                                                const QString& suppressionBinding);
    // Answers itself with the default button after the interval (whole seconds) unless
    // the user answers first; whichever comes first decides.
    static int timedAlertSheetWithMessageText(const Texts& texts, QWidget* parentWindow, int interval);

    // Main thread: builds and shows the sheet described by the dictionary.
    void alertSheetWithDictionary(const QVariantMap& dictionary);
    // The default end handler: records the answer.
    void alertDidEnd(int returnCode);
    // The timer of a timed alert.
    void defaultReturnAfterTimeInterval(int seconds);

    bool alertEnded() const { return m_ended->value.load(); }
    int returnCode() const { return m_ended->code.load(); }
    // The box being shown (main thread only).
    QMessageBox* alert() const { return m_alert; }

    // The bold message's key and friends in the dictionary handed to the main thread.
    static constexpr char messageTextKey[] = "messageText";
    static constexpr char defaultButtonTitleKey[] = "defaultButtonTitle";
    static constexpr char alternateButtonTitleKey[] = "alternateButtonTitle";
    static constexpr char otherButtonTitleKey[] = "otherButtonTitle";
    static constexpr char informativeTextKey[] = "informativeText";
    static constexpr char didEndSelectorKey[] = "didEndSelector";
    static constexpr char suppressionBindingKey[] = "suppressionBinding";

private:
    // The answer of one use of an alert. It lives apart from the alert so that a timer
    // firing late touches only this, where the first answer has already been taken.
    struct Outcome {
        std::atomic<bool> claimed{false};
        std::atomic<bool> value{false};
        std::atomic<int> code{-1};
        // The first of the user's answer and the timer wins; later ones are ignored.
        bool claim(int answer);
    };
    struct Request;
    static int run(const Request& request);
    static void fireAfter(std::shared_ptr<Outcome> outcome, int seconds);
    void waitForAnswer() const;
    void closeOnMainThread();

    std::shared_ptr<Outcome> m_ended;
    QPointer<QWidget> m_parentWindow;
    QPointer<QObject> m_delegate;
    QPointer<QMessageBox> m_alert;
};
