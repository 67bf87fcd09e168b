#pragma once

#include <QStringList>
#include <QWidget>

class QLineEdit;
class QPlainTextEdit;

namespace hmi {

// The console in the window: a log of what the console engine answered and
// a line to type commands in. Enter runs the line, Tab completes it, F1 or a
// "?" typed at its end describes it, Up and Down walk through the history.
class ConsoleWidget : public QWidget
{
    Q_OBJECT

public:
    explicit ConsoleWidget(QWidget* parent = nullptr);
    ~ConsoleWidget() override;

    // Bounds, so that a console left open for days does not grow for ever.
    static constexpr int maximumLogLines = 5000;
    static constexpr int maximumHistory = 500;

    QPlainTextEdit* logView() const { return m_log; }
    QLineEdit* lineEdit() const { return m_line; }
    QStringList history() const { return m_history; }

public Q_SLOTS:
    // Run the typed line (what Enter does).
    void runLine();
    void clearLog();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void appendOutput(const QString& text);
    void appendError(const QString& text);
    void appendInput(const QString& text);
    void historyUp();
    void historyDown();
    void showLine(const QString& text);

    QPlainTextEdit* m_log;
    QLineEdit* m_line;
    QStringList m_history;
    // Position while walking the history; m_history.size() means "the draft".
    int m_historyPos = 0;
    QString m_draft;
};

} // namespace hmi
