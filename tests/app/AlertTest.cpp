#include "TempHome.h"
#include "app/BMAlert.h"
#include "foundation/BMSettings.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QElapsedTimer>
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTimer>

#include <atomic>
#include <thread>

namespace {

QMessageBox* visibleAlert() {
    for (QWidget* widget : QApplication::allWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible())
            return box;
    }
    return nullptr;
}

QStringList buttonTitles(QMessageBox* box) {
    QStringList titles;
    for (QAbstractButton* button : box->buttons())
        titles << button->text();
    titles.sort();
    return titles;
}

// Pumps events until the predicate holds or ten seconds pass.
bool waitFor(const std::function<bool()>& done) {
    QElapsedTimer clock;
    clock.start();
    while (!done() && clock.elapsed() < 10000)
        QApplication::processEvents(QEventLoop::AllEvents, 20);
    return done();
}

// Clicks the button with the title as soon as an alert shows, from the main loop.
void answerWhenShown(const QString& title, QStringList* seenButtons = nullptr, QString* seenText = nullptr) {
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [=] {
        QMessageBox* box = visibleAlert();
        if (!box)
            return;
        if (seenButtons)
            *seenButtons = buttonTitles(box);
        if (seenText)
            *seenText = box->informativeText();
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == title)
                button->click();
        }
        poll->deleteLater();
    });
    poll->start(20);
}

class Receiver : public QObject {
    Q_OBJECT
public:
    int calls = 0;
    int lastAnswer = -99;
    Q_INVOKABLE void sheetEnded(BMAlert*, int answer) {
        ++calls;
        lastAnswer = answer;
    }
};

class Alert : public TempHomeTest {
protected:
    void TearDown() override {
        waitFor([] { return visibleAlert() == nullptr; });
        TempHomeTest::TearDown();
    }
};

} // namespace

TEST_F(Alert, MessageOnlyShowsOneDefaultButtonAndReturnsOne) {
    QStringList buttons;
    answerWhenShown("OK", &buttons);
    EXPECT_EQ(BMAlert::alertSheetWithMessageText("Removed", "", nullptr), 1);
    EXPECT_EQ(buttons, QStringList{"OK"});
}

struct ButtonCase {
    const char* name;
    const char* pressed;
    int expected;
};
class AlertButtons : public Alert, public ::testing::WithParamInterface<ButtonCase> {};

TEST_P(AlertButtons, EachButtonHasItsAnswer) {
    QMainWindow window;
    window.show();
    answerWhenShown(GetParam().pressed);
    const BMAlert::Texts texts{"Remove 3 autosaves?", "Remove", "Cancel", "Show", "They go to the Trash."};
    EXPECT_EQ(BMAlert::alertSheetWithButtons(texts, &window, true), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Buttons, AlertButtons,
                         ::testing::Values(ButtonCase{"Default", "Remove", 1},
                                           ButtonCase{"Alternate", "Cancel", 0},
                                           ButtonCase{"Other", "Show", -1}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(Alert, InformativeTextShowsPercentSignsAsTheyAre) {
    QString informative;
    answerWhenShown("OK", nullptr, &informative);
    BMAlert::alertSheetWithMessageText("Done", "100% of %@ moved", nullptr);
    EXPECT_EQ(informative, "100% of %@ moved");
}

TEST_F(Alert, NonBlockingReturnsAtOnceAndLaterCallsTheDelegate) {
    Receiver receiver;
    const int result = BMAlert::alertSheetWithAlertObject({"Archive finished", "OK", "Reveal", {}, {}},
                                                          nullptr, &receiver, "sheetEnded", false, nullptr);
    EXPECT_EQ(result, -1);
    ASSERT_NE(visibleAlert(), nullptr);
    EXPECT_EQ(receiver.calls, 0);
    for (QAbstractButton* button : visibleAlert()->buttons()) {
        if (button->text() == "Reveal")
            button->click();
    }
    EXPECT_EQ(receiver.calls, 1);
    EXPECT_EQ(receiver.lastAnswer, 0);
}

TEST_F(Alert, DelegateWithoutTheSelectorShowsNothing) {
    Receiver receiver;
    testing::internal::CaptureStdout();
    const int result = BMAlert::alertSheetWithDelegate({"Question", "Yes", "No", {}, {}}, nullptr, &receiver,
                                                       "missingSelector", true);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Alert error: delegate does not respond to selector missingSelector\n");
    EXPECT_EQ(result, -1);
    EXPECT_EQ(visibleAlert(), nullptr);
}

TEST_F(Alert, DelegateFormBlocksEvenWhenAskedNotTo) {
    Receiver receiver;
    answerWhenShown("No");
    EXPECT_EQ(BMAlert::alertSheetWithDelegate({"Question", "Yes", "No", {}, {}}, nullptr, &receiver,
                                              "sheetEnded", false),
              0);
    EXPECT_EQ(receiver.calls, 1);
}

TEST_F(Alert, TimedAlertAnswersItselfAndGoes) {
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(
        BMAlert::timedAlertSheetWithMessageText({"Cleaning in progress", "OK", "Stop", {}, {}}, nullptr, 1),
        1);
    EXPECT_GE(clock.elapsed(), 900);
    EXPECT_TRUE(waitFor([] { return visibleAlert() == nullptr; }));
}

TEST_F(Alert, UserAnswerBeatsTheTimerAndTheLateTimerChangesNothing) {
    answerWhenShown("Stop");
    auto reused = std::make_shared<BMAlert>();
    EXPECT_EQ(
        BMAlert::timedAlertSheetWithMessageText({"Cleaning in progress", "OK", "Stop", {}, {}}, nullptr, 1),
        0);
    // The same kind of question again while the first timer is still pending.
    answerWhenShown("No");
    EXPECT_EQ(BMAlert::alertSheetWithAlertObject({"Again?", "Yes", "No", {}, {}}, nullptr, nullptr, nullptr,
                                                 true, reused),
              0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));
    EXPECT_EQ(reused->returnCode(), 0);
}

TEST_F(Alert, WindowWithASheetGetsTheAlertInAWindowOfItsOwn) {
    QMainWindow window;
    window.show();
    auto* sheet = new QMessageBox(&window);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->show();

    QPointer<QWidget> parentSeen = &window;
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [&, poll] {
        for (QWidget* widget : QApplication::allWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(widget);
            if (box && box != sheet && box->isVisible()) {
                parentSeen = box->parentWidget();
                box->buttons().first()->click();
                poll->deleteLater();
                return;
            }
        }
    });
    poll->start(20);
    EXPECT_EQ(BMAlert::alertSheetWithMessageText("Second question", "", &window), 1);
    EXPECT_EQ(parentSeen, nullptr);
    delete sheet;
}

TEST_F(Alert, SuppressionBoxIsBoundToItsSetting) {
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, poll, [poll] {
        QMessageBox* box = visibleAlert();
        if (!box || !box->checkBox())
            return;
        box->checkBox()->setChecked(true);
        box->buttons().first()->click();
        poll->deleteLater();
    });
    poll->start(20);
    BMAlert::alertSheetWithSuppressionBinding({"Moved to the Trash", {}, {}, {}, {}}, nullptr, nullptr,
                                              nullptr, true, nullptr, "suppressTrashNotice");
    EXPECT_TRUE(BMSettings::standard().boolValue("suppressTrashNotice"));
}

TEST_F(Alert, WorkerThreadWaitsWhileTheMainThreadShowsAndAnswers) {
    std::atomic<int> result{-99};
    std::thread worker([&] {
        result = BMAlert::alertSheetWithButtons({"Remove the project?", "Remove", "Cancel", {}, {}}, nullptr,
                                                true);
    });
    ASSERT_TRUE(waitFor([] { return visibleAlert() != nullptr; }));
    EXPECT_EQ(result, -99); // still waiting for the answer
    for (QAbstractButton* button : visibleAlert()->buttons()) {
        if (button->text() == "Remove")
            button->click();
    }
    EXPECT_TRUE(waitFor([&] { return result != -99; }));
    worker.join();
    EXPECT_EQ(result, 1);
}

#include "AlertTest.moc"
