#pragma once

#include <QDockWidget>
#include <QJsonValue>

class QCheckBox;
class QListWidget;

namespace hmi {

// The log records every module publishes ("cur_hmi_log"), newest last, with
// a filter per level, in a dock beside the console.
class LogDock : public QDockWidget
{
    Q_OBJECT

public:
    explicit LogDock(QWidget* parent = nullptr);
    ~LogDock() override;

    // Oldest records are dropped beyond this many.
    static constexpr int maximumRecords = 2000;

    // "i", "w", "e" or "d": the kind a level string stands for (by its
    // first letter, anything else is debug).
    static QString kindOf(const QString& level);

    void addRecord(const QString& level, const QString& dateTime, const QString& title);

protected:
    void changeEvent(QEvent* event) override;

private:
    void onResourceWritten(QObject* owner, const QString& name, const QString& key,
                           const QJsonValue& value);
    void applyFilter();
    bool kindShown(const QString& kind) const;

    QListWidget* m_list;
    QCheckBox* m_info;
    QCheckBox* m_warning;
    QCheckBox* m_error;
    QCheckBox* m_debug;
};

} // namespace hmi
