#pragma once

// Acts on each modal message box that opens while it lives, so that code
// which runs a box with exec() can be tested without blocking. Boxes still
// open when the time limit runs out are closed (done(0)) and counted in
// timedOut(), so a broken test fails instead of hanging.

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QMessageBox>
#include <QPointer>
#include <QTimer>

#include <functional>

class ModalCloser : public QObject
{
public:
    using Action = std::function<void(QMessageBox*)>;

    explicit ModalCloser(Action action, int limitMs = 10000)
        : m_action(std::move(action))
        , m_limitMs(limitMs)
    {
        m_clock.start();
        m_timer.setInterval(5);
        QObject::connect(&m_timer, &QTimer::timeout, this, [this] { poll(); });
        m_timer.start();
    }

    // Boxes acted on so far.
    int seen() const { return m_seen; }
    bool timedOut() const { return m_timedOut; }

    // Press a standard button of the box.
    static Action press(QMessageBox::StandardButton button)
    {
        return [button](QMessageBox* box) {
            if (QAbstractButton* b = box->button(button)) {
                b->click();
            } else {
                box->done(0);
            }
        };
    }

private:
    void poll()
    {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (box && box->isVisible() && box != m_last) {
            m_last = box;
            ++m_seen;
            m_action(box);
            return;
        }
        if (m_clock.elapsed() > m_limitMs) {
            const QWidgetList widgets = QApplication::topLevelWidgets();
            for (QWidget* widget : widgets) {
                auto* open = qobject_cast<QMessageBox*>(widget);
                if (open && open->isVisible()) {
                    m_timedOut = true;
                    open->done(0);
                }
            }
        }
    }

    Action m_action;
    int m_limitMs;
    QElapsedTimer m_clock;
    QTimer m_timer;
    QPointer<QMessageBox> m_last;
    int m_seen = 0;
    bool m_timedOut = false;
};
