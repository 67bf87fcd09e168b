#include "logdock.h"

#include <velk/resourcemanager.h>
#include <velk/velk.h>

#include <QCheckBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QJsonObject>
#include <QListWidget>
#include <QVBoxLayout>

namespace hmi {

namespace {

constexpr int kKindRole = Qt::UserRole + 1;
constexpr int kTitleShown = 1000;

QCheckBox* filter(const QString& text, const char* name, bool on, QHBoxLayout* row)
{
    auto* box = new QCheckBox(text);
    box->setObjectName(QString::fromLatin1(name));
    box->setChecked(on);
    row->addWidget(box);
    return box;
}

} // namespace

LogDock::LogDock(QWidget* parent)
    : QDockWidget(tr("Log"), parent)
    , m_list(new QListWidget)
{
    setObjectName(QStringLiteral("dockLog"));
    auto* body = new QWidget;
    auto* rows = new QVBoxLayout(body);
    rows->setContentsMargins(2, 2, 2, 2);
    auto* filters = new QHBoxLayout;
    m_error = filter(tr("Errors"), "chkLogError", true, filters);
    m_warning = filter(tr("Warnings"), "chkLogWarning", true, filters);
    m_info = filter(tr("Information"), "chkLogInfo", true, filters);
    // Debug records come at the controller's pace; opt in.
    m_debug = filter(tr("Debug"), "chkLogDebug", false, filters);
    filters->addStretch(1);
    rows->addLayout(filters);
    m_list->setObjectName(QStringLiteral("lstLog"));
    m_list->setUniformItemSizes(true);
    rows->addWidget(m_list, 1);
    setWidget(body);
    for (QCheckBox* box : {m_error, m_warning, m_info, m_debug}) {
        connect(box, &QCheckBox::toggled, this, &LogDock::applyFilter);
    }
    connect(&velk::resource(), &velk::ResourceManager::written, this, &LogDock::onResourceWritten);
}

LogDock::~LogDock() = default;

void LogDock::changeEvent(QEvent* event)
{
    // Built before the plug-in installs the configured language.
    if (event->type() == QEvent::LanguageChange) {
        m_error->setText(tr("Errors"));
        m_warning->setText(tr("Warnings"));
        m_info->setText(tr("Information"));
        m_debug->setText(tr("Debug"));
    }
    QDockWidget::changeEvent(event);
}

QString LogDock::kindOf(const QString& level)
{
    for (const char* kind : {"i", "w", "e"}) {
        if (level.startsWith(QLatin1String(kind))) {
            return QString::fromLatin1(kind);
        }
    }
    return QStringLiteral("d");
}

void LogDock::addRecord(const QString& level, const QString& dateTime, const QString& title)
{
    const QString kind = kindOf(level);
    QString text = title.left(kTitleShown);
    text.replace(QLatin1Char('\n'), QLatin1Char(' '));
    auto* item =
        new QListWidgetItem(QStringLiteral("%1 [%2] %3").arg(dateTime, kind.toUpper(), text));
    item->setData(kKindRole, kind);
    if (kind == QLatin1String("e")) {
        item->setForeground(QColor(200, 0, 0));
    } else if (kind == QLatin1String("w")) {
        item->setForeground(QColor(170, 110, 0));
    }
    m_list->addItem(item);
    item->setHidden(!kindShown(kind));
    while (m_list->count() > maximumRecords) {
        delete m_list->takeItem(0);
    }
    if (!item->isHidden()) {
        m_list->scrollToBottom();
    }
}

void LogDock::onResourceWritten(QObject* owner, const QString& name, const QString& key,
                                const QJsonValue& value)
{
    Q_UNUSED(owner)
    if (name != QLatin1String("log") || key != QLatin1String("cur_hmi_log")) {
        return;
    }
    const QJsonObject record = value.toObject();
    addRecord(record.value(QStringLiteral("level")).toString(),
              record.value(QStringLiteral("date_time")).toString(),
              record.value(QStringLiteral("title")).toString());
}

bool LogDock::kindShown(const QString& kind) const
{
    if (kind == QLatin1String("e")) {
        return m_error->isChecked();
    }
    if (kind == QLatin1String("w")) {
        return m_warning->isChecked();
    }
    if (kind == QLatin1String("i")) {
        return m_info->isChecked();
    }
    return m_debug->isChecked();
}

void LogDock::applyFilter()
{
    for (int i = 0; i < m_list->count(); ++i) {
        QListWidgetItem* item = m_list->item(i);
        item->setHidden(!kindShown(item->data(kKindRole).toString()));
    }
}

} // namespace hmi
