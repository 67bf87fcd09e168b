#include "consolewidget.h"

#include <velk/commandmanager.h>
#include <velk/velk.h>

#include <QFontDatabase>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QVBoxLayout>

namespace hmi {

ConsoleWidget::ConsoleWidget(QWidget* parent)
    : QWidget(parent)
    , m_log(new QPlainTextEdit(this))
    , m_line(new QLineEdit(this))
{
    setObjectName(QStringLiteral("wgtConsole"));
    m_log->setObjectName(QStringLiteral("pteConsoleLog"));
    m_log->setReadOnly(true);
    m_log->setMaximumBlockCount(maximumLogLines);
    m_log->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    const QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    m_log->setFont(mono);
    m_line->setObjectName(QStringLiteral("leConsoleLine"));
    m_line->setFont(mono);
    m_line->setPlaceholderText(tr("Command (Tab completes, F1 or ? describes)"));
    m_line->installEventFilter(this);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->setSpacing(2);
    layout->addWidget(m_log, 1);
    layout->addWidget(m_line);
    setFocusProxy(m_line);

    connect(m_line, &QLineEdit::returnPressed, this, &ConsoleWidget::runLine);
    velk::CommandManager& engine = velk::command();
    connect(&engine, &velk::CommandManager::output, this, &ConsoleWidget::appendOutput);
    connect(&engine, &velk::CommandManager::error, this, &ConsoleWidget::appendError);
    connect(&engine, &velk::CommandManager::input, this, &ConsoleWidget::appendInput);
}

ConsoleWidget::~ConsoleWidget() = default;

void ConsoleWidget::runLine()
{
    const QString line = m_line->text().trimmed();
    m_line->clear();
    m_draft.clear();
    if (line.isEmpty()) {
        m_historyPos = m_history.size();
        return;
    }
    if (m_history.isEmpty() || m_history.constLast() != line) {
        m_history.append(line);
        while (m_history.size() > maximumHistory) {
            m_history.removeFirst();
        }
    }
    m_historyPos = m_history.size();
    m_log->appendPlainText(QStringLiteral("> ") + line);
    velk::command().execute(line);
}

void ConsoleWidget::clearLog()
{
    m_log->clear();
}

bool ConsoleWidget::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_line || event->type() != QEvent::KeyPress) {
        return QWidget::eventFilter(watched, event);
    }
    auto* key = static_cast<QKeyEvent*>(event);
    switch (key->key()) {
    case Qt::Key_Tab:
        // Taken before the focus chain sees it.
        velk::command().complete(m_line->text());
        return true;
    case Qt::Key_F1:
        velk::command().hint(m_line->text());
        return true;
    case Qt::Key_Up:
        historyUp();
        return true;
    case Qt::Key_Down:
        historyDown();
        return true;
    default:
        break;
    }
    if (key->text() == QLatin1String("?") && m_line->cursorPosition() == m_line->text().size()) {
        velk::command().hint(m_line->text());
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void ConsoleWidget::appendOutput(const QString& text)
{
    m_log->appendPlainText(text);
}

void ConsoleWidget::appendError(const QString& text)
{
    m_log->appendHtml(
        QStringLiteral("<span style=\"color:#c62828;\">%1</span>")
            .arg(text.toHtmlEscaped().replace(QLatin1Char('\n'), QLatin1String("<br>"))));
}

void ConsoleWidget::appendInput(const QString& text)
{
    m_line->setText(m_line->text() + text);
    m_line->setCursorPosition(m_line->text().size());
}

void ConsoleWidget::historyUp()
{
    if (m_historyPos <= 0 || m_history.isEmpty()) {
        return;
    }
    if (m_historyPos >= m_history.size()) {
        m_draft = m_line->text();
        m_historyPos = m_history.size();
    }
    --m_historyPos;
    showLine(m_history.at(m_historyPos));
}

void ConsoleWidget::historyDown()
{
    if (m_historyPos >= m_history.size()) {
        return;
    }
    ++m_historyPos;
    showLine(m_historyPos < m_history.size() ? m_history.at(m_historyPos) : m_draft);
}

void ConsoleWidget::showLine(const QString& text)
{
    m_line->setText(text);
    m_line->setCursorPosition(text.size());
}

} // namespace hmi
