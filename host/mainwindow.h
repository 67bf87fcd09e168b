#pragma once

#include <QMainWindow>

class QAction;
class QDockWidget;

namespace hmi {

class ConsoleWidget;

// The window of the HMI: the shell's side bar on the left, its centre pages
// beside it, its status bar at the bottom, and the console in a dock that F12
// or View > Console shows and hides.
class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    ConsoleWidget* console() const { return m_console; }
    QDockWidget* consoleDock() const { return m_consoleDock; }
    QAction* consoleAction() const { return m_consoleAction; }
    QAction* quitAction() const { return m_quitAction; }

Q_SIGNALS:
    // The operator closed the window or chose File > Quit.
    void quitRequested();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    ConsoleWidget* m_console;
    QDockWidget* m_consoleDock;
    QAction* m_consoleAction;
    QAction* m_quitAction;
};

} // namespace hmi
