#pragma once

#include <QObject>

class AppController;

// Pin and Unpin for the outline's selection. Pins are stored where `vestry pin` stores them,
// so the window, the command line and the helpers agree; the outline's badge follows the
// stored list after each change and each rebuild.
class PinCommands : public QObject {
    Q_OBJECT
public:
    explicit PinCommands(AppController* controller);

    void pin();
    // An autosave pinned through its project is unpinned by unpinning the project: the pin
    // is the project's, and the badge would otherwise stay on a row that was "unpinned".
    void unpin();

private:
    void change(bool pin);
    void reload();
    void updateActions();

    AppController* m_controller;
};
