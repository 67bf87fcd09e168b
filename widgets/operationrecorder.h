#pragma once

#include "module/zarvo_global.h"

#include <QObject>

// Writes a log line for every press and double click on a push button
// anywhere in the application, so that the log tells what the operator did,
// where, and inside which page. Installed once on the application object;
// it never changes or consumes an event.
class ZARVO_EXPORT OperationRecorder : public QObject
{
    Q_OBJECT

public:
    explicit OperationRecorder(QObject* parent = nullptr);
    ~OperationRecorder() override;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The object's name, then those of at most `depth` ancestors.
    static QString objectPath(const QObject* object, int depth = 5);
};
