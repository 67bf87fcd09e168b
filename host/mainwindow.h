#pragma once

#include <QMainWindow>

class QAction;
class QDockWidget;
class QMenu;

namespace hmi {

class ConsoleWidget;
class LogDock;

// The window of the HMI: the shell's side bar on the left, its centre pages
// beside it, its status bar at the bottom, the console in a dock that F12
// or View > Console shows and hides, and the log records in a dock beside it.
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
    LogDock* logDock() const { return m_logDock; }

    // Window geometry and dock state of the last run, from `file` (an INI
    // file; the host passes config/hmi.ini of the working directory).
    bool restoreLayout(const QString& file);
    void saveLayout(const QString& file) const;

Q_SIGNALS:
    // The operator closed the window or chose File > Quit.
    void quitRequested();

protected:
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    ConsoleWidget* m_console;
    QDockWidget* m_consoleDock;
    QAction* m_consoleAction;
    QAction* m_quitAction;
    LogDock* m_logDock;
    QMenu* m_fileMenu = nullptr;
    QMenu* m_viewMenu = nullptr;

    void retranslate();
    // Move and shrink the window into its screen's available area.
    void keepOnScreen();
};

} // namespace hmi
