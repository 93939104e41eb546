#include "WindowFixture.h"
#include "app/BMAlert.h"

#include <QCheckBox>
#include <QMainWindow>

#include <atomic>
#include <thread>

namespace {

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

TEST_F(Alert, EachButtonHasItsAnswerAMessageHasOnlyOKAndAWindowWithASheetGetsItInAWindowOfItsOwn) {
    QMainWindow window;
    window.show();
    const BMAlert::Texts texts{"Remove 3 autosaves?", "Remove", "Cancel", "Show", "They go to the Trash."};
    for (const auto& [pressed, expected] : {std::pair{"Remove", 1}, {"Cancel", 0}, {"Show", -1}}) {
        Answerer answer(pressed);
        EXPECT_EQ(BMAlert::alertSheetWithButtons(texts, &window, true), expected) << pressed;
        EXPECT_EQ(answer.buttons, (QStringList{"Cancel", "Remove", "Show"}));
    }
    {
        Answerer answer("OK");
        EXPECT_EQ(BMAlert::alertSheetWithMessageText("Done", "100% of %@ moved", nullptr), 1);
        EXPECT_EQ(answer.buttons, QStringList{"OK"});
        EXPECT_EQ(answer.informative, "100% of %@ moved");
    }
    // A window that shows a sheet already gets the alert in a window of its own.
    QMessageBox sheet(&window);
    sheet.setWindowModality(Qt::WindowModal);
    sheet.show();
    Answerer answer("OK", &sheet);
    EXPECT_EQ(BMAlert::alertSheetWithMessageText("Second question", "", &window), 1);
    EXPECT_EQ(answer.count, 1);
    EXPECT_EQ(answer.parent, nullptr);
    sheet.close();
}

// Not blocking, the alert object returns at once and calls the delegate later; the delegate
// form blocks even when asked not to, and needs the selector.
TEST_F(Alert, NonBlockingCallsTheDelegateLaterAndTheDelegateFormBlocksAndNeedsTheSelector) {
    Receiver receiver;
    EXPECT_EQ(BMAlert::alertSheetWithAlertObject({"Archive finished", "OK", "Reveal", {}, {}}, nullptr,
                                                 &receiver, "sheetEnded", false, nullptr),
              -1);
    ASSERT_NE(visibleAlert(), nullptr);
    EXPECT_EQ(receiver.calls, 0);
    clickButton(visibleAlert(), "Reveal");
    EXPECT_EQ(receiver.calls, 1);
    EXPECT_EQ(receiver.lastAnswer, 0);

    Answerer answer("No");
    EXPECT_EQ(BMAlert::alertSheetWithDelegate({"Question", "Yes", "No", {}, {}}, nullptr, &receiver,
                                              "sheetEnded", false),
              0);
    EXPECT_EQ(receiver.calls, 2);
    EXPECT_EQ(receiver.lastAnswer, 0);

    testing::internal::CaptureStdout();
    EXPECT_EQ(BMAlert::alertSheetWithDelegate({"Question", "Yes", "No", {}, {}}, nullptr, &receiver,
                                              "missingSelector", true),
              -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Alert error: delegate does not respond to selector missingSelector\n");
    EXPECT_EQ(answer.count, 1); // nothing shown
}

TEST_F(Alert, TimedAlertAnswersItselfUnlessTheUserAnswersFirstAndALateTimerChangesNothing) {
    QElapsedTimer clock;
    clock.start();
    const BMAlert::Texts timed{"Cleaning in progress", "OK", "Stop", {}, {}};
    EXPECT_EQ(BMAlert::timedAlertSheetWithMessageText(timed, nullptr, 1), 1);
    EXPECT_GE(clock.elapsed(), 900);
    EXPECT_TRUE(waitFor([] { return visibleAlert() == nullptr; }));
    {
        Answerer answer("Stop");
        EXPECT_EQ(BMAlert::timedAlertSheetWithMessageText(timed, nullptr, 1), 0);
    }
    // The same kind of question again while the first timer is still pending.
    auto reused = std::make_shared<BMAlert>();
    Answerer answer("No");
    EXPECT_EQ(BMAlert::alertSheetWithAlertObject({"Again?", "Yes", "No", {}, {}}, nullptr, nullptr, nullptr,
                                                 true, reused),
              0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1300));
    EXPECT_EQ(reused->returnCode(), 0);
    reused->defaultReturnAfterTimeInterval(0); // a timer of its own, late too
    EXPECT_EQ(reused->returnCode(), 0);
}

TEST_F(Alert, SuppressionBoxIsBoundToItsSetting) {
    Answerer answer("OK");
    answer.beforeAnswer = [](QMessageBox* box) {
        ASSERT_NE(box->checkBox(), nullptr);
        box->checkBox()->setChecked(true);
    };
    BMAlert::alertSheetWithSuppressionBinding({"Moved to the Trash", "OK", {}, {}, {}}, nullptr, nullptr,
                                              nullptr, true, nullptr, "suppressTrashNotice");
    EXPECT_EQ(answer.count, 1);
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
    clickButton(visibleAlert(), "Remove");
    EXPECT_TRUE(waitFor([&] { return result != -99; }));
    worker.join();
    EXPECT_EQ(result, 1);
}

#include "AlertTest.moc"
