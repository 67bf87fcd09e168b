#include "dragsettingpage.h"

#include <pomr/enablebutton.h>
#include <velk/moduleobject.h>

#include <QComboBox>
#include <QFormLayout>
#include <QJsonObject>
#include <QSpinBox>

namespace robotpages {

DragSettingPage::DragSettingPage(QObject* parent)
    : BoundSettingPage(QStringLiteral("drag"), tr("Drag teaching"),
                       QStringLiteral("dynamic.drag.get_params"),
                       QStringLiteral("dynamic.drag.set_params"),
                       QJsonObject{{QStringLiteral("enable"), false},
                                   {QStringLiteral("space"), 0},
                                   {QStringLiteral("type"), 0}},
                       parent)
{
    auto* form = new QFormLayout(contentWgt());
    m_enable = new pomr::EnableButton(contentWgt());
    m_enable->setObjectName(QStringLiteral("btnEnable"));
    form->addRow(tr("Drag teaching on"), m_enable);
    m_space = new QComboBox(contentWgt());
    m_space->setObjectName(QStringLiteral("cmbSpace"));
    m_space->addItems({tr("Joint space"), tr("Cartesian space")});
    form->addRow(tr("Space"), m_space);
    m_type = new QSpinBox(contentWgt());
    m_type->setObjectName(QStringLiteral("spnType"));
    m_type->setRange(0, 9);
    form->addRow(tr("Drag type"), m_type);
}

DragSettingPage::~DragSettingPage() = default;

bool DragSettingPage::loadFromMobj()
{
    m_enable->setOn(mobj()->cmobj(QStringLiteral("enable"))->getBool());
    m_space->setCurrentIndex(qBound(0, mobj()->cmobj(QStringLiteral("space"))->getInt(), 1));
    m_type->setValue(mobj()->cmobj(QStringLiteral("type"))->getInt());
    return true;
}

bool DragSettingPage::saveToMobj()
{
    mobj()->cmobj(QStringLiteral("enable"))->set(this, m_enable->isOn());
    mobj()->cmobj(QStringLiteral("space"))->set(this, m_space->currentIndex());
    mobj()->cmobj(QStringLiteral("type"))->set(this, m_type->value());
    return true;
}

} // namespace robotpages
