#include "controllersettingpage.h"

#include <velk/moduleobject.h>

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QJsonObject>
#include <QLineEdit>

namespace robotpages {

namespace {

// Every whole and half hour from UTC-12:00 to UTC+14:00, as the controller
// writes them.
QStringList timeZones()
{
    QStringList zones;
    for (int minutes = -12 * 60; minutes <= 14 * 60; minutes += 30) {
        const int a = qAbs(minutes);
        zones << QStringLiteral("UTC%1%2:%3")
                     .arg(minutes < 0 ? QLatin1Char('-') : QLatin1Char('+'))
                     .arg(a / 60, 2, 10, QLatin1Char('0'))
                     .arg(a % 60, 2, 10, QLatin1Char('0'));
    }
    return zones;
}

} // namespace

ControllerSettingPage::ControllerSettingPage(QObject* parent)
    : BoundSettingPage(QStringLiteral("controller"), tr("Controller"),
                       QStringLiteral("system.controller.get_params"),
                       QStringLiteral("system.controller.set_params"),
                       QJsonObject{{QStringLiteral("alias"), QString()},
                                   {QStringLiteral("time_zone"), QStringLiteral("UTC+08:00")},
                                   {QStringLiteral("auto_load_project"), false}},
                       parent)
{
    auto* form = new QFormLayout(contentWgt());
    m_alias = new QLineEdit(contentWgt());
    m_alias->setObjectName(QStringLiteral("edtAlias"));
    m_alias->setMaxLength(64);
    form->addRow(tr("Alias"), m_alias);
    m_timeZone = new QComboBox(contentWgt());
    m_timeZone->setObjectName(QStringLiteral("cmbTimeZone"));
    m_timeZone->addItems(timeZones());
    form->addRow(tr("Time zone"), m_timeZone);
    m_autoLoad = new QCheckBox(tr("Load the last project at start"), contentWgt());
    m_autoLoad->setObjectName(QStringLiteral("chbAutoLoad"));
    form->addRow(QString(), m_autoLoad);
}

ControllerSettingPage::~ControllerSettingPage() = default;

bool ControllerSettingPage::loadFromMobj()
{
    m_alias->setText(mobj()->cmobj(QStringLiteral("alias"))->getString());
    const QString zone = mobj()->cmobj(QStringLiteral("time_zone"))->getString();
    // A zone the list lacks is shown as the controller has it, not replaced.
    if (m_timeZone->findText(zone) < 0 && !zone.isEmpty()) {
        m_timeZone->addItem(zone);
    }
    m_timeZone->setCurrentText(zone);
    m_autoLoad->setChecked(mobj()->cmobj(QStringLiteral("auto_load_project"))->getBool());
    return true;
}

bool ControllerSettingPage::saveToMobj()
{
    mobj()->cmobj(QStringLiteral("alias"))->set(this, m_alias->text());
    mobj()->cmobj(QStringLiteral("time_zone"))->set(this, m_timeZone->currentText());
    mobj()->cmobj(QStringLiteral("auto_load_project"))->set(this, m_autoLoad->isChecked());
    return true;
}

} // namespace robotpages
