#pragma once

#include <QObject>

#include <cstdio>

namespace hmi {

// Without a window nobody can click a modal dialog away, and a script would
// hang on it for ever. This filter reports every modal dialog that is shown
// (title and text, one line on `err`) and rejects it at once, as if the
// operator had closed it.
class HeadlessDialogGuard : public QObject
{
    Q_OBJECT

public:
    explicit HeadlessDialogGuard(FILE* err = stderr, QObject* parent = nullptr);
    ~HeadlessDialogGuard() override;

    // Watch every object of the application.
    void install();

    int dismissedCount() const { return m_dismissed; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    FILE* m_err;
    int m_dismissed = 0;
};

} // namespace hmi
