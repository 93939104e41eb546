#include "TempHome.h"
#include "app/BMOutlineView.h"

#include <QApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QStandardItemModel>

namespace {

class KeyTarget : public QObject {
    Q_OBJECT
public:
    QStringList calls;
    Q_INVOKABLE void remove() { calls << "remove"; }
    Q_INVOKABLE void reveal() { calls << "reveal"; }
};

class OutlineView : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* name : {"Alpha", "Beta", "Gamma"}) {
            auto* project = new QStandardItem(name);
            project->appendRow(new QStandardItem(QString(name) + " 1"));
            model.appendRow(project);
        }
        view.setModel(&model);
        view.setMenu(&menu);
        view.resize(400, 300);
        view.show();
    }
    QPoint centreOfRow(int row) { return view.visualRect(model.index(row, 0)).center(); }
    QStringList selectedNames() {
        QStringList names;
        for (const QModelIndex& index : view.selectionModel()->selectedRows())
            names << index.data().toString();
        return names;
    }
    void press(char16_t character) {
        QKeyEvent event(QEvent::KeyPress, 0, Qt::NoModifier, QString(QChar(character)));
        QApplication::sendEvent(&view, &event);
    }

    QStandardItemModel model;
    QMenu menu;
    BMOutlineView view;
};

} // namespace

// A row under the pointer is selected alone and gets the menu (the window's own test goes
// through every row); outside any row, or on a row the delegate refuses, the selection stays.
TEST_F(OutlineView, RightClickGivesNoMenuOutsideARowOrOnARefusedRow) {
    for (int row : {0, 2})
        view.selectionModel()->select(model.index(row, 0),
                                      QItemSelectionModel::Select | QItemSelectionModel::Rows);
    EXPECT_EQ(view.menuForPosition(QPoint(10, 290)), nullptr);
    view.shouldSelectItem = [](const QModelIndex& index) { return index.data().toString() != "Beta"; };
    EXPECT_EQ(view.menuForPosition(centreOfRow(1)), nullptr);
    EXPECT_EQ(selectedNames(), (QStringList{"Alpha", "Gamma"}));
    view.shouldSelectItem = nullptr;
    EXPECT_EQ(view.menuForPosition(centreOfRow(1)), &menu);
    EXPECT_EQ(selectedNames(), QStringList{"Beta"});
}

TEST_F(OutlineView, WatchKeysRunTheFirstOperationTheDelegateHas) {
    KeyTarget target;
    view.setWatchDelegate(&target);
    view.addWatchKeys({u'\x7f', u'\b'}, "remove");
    view.addWatchKeys({u'r'}, "missingOperation");
    view.addWatchKeys({u'r'}, "reveal");

    press(u'\x7f');
    press(u'\b');
    testing::internal::CaptureStdout();
    press(u'r');
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Selector missingOperation doesn't exist\n");
    EXPECT_EQ(target.calls, (QStringList{"remove", "remove", "reveal"}));
}

#include "OutlineViewTest.moc"
