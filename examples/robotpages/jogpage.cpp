#include "jogpage.h"

#include "pagestyle.h"

#include <zarvo/controllermanager.h>
#include <zarvo/managerhelper.h>
#include <zarvo/touchableslider.h>

#include <velk/moduleobject.h>
#include <velk/velk.h>

#include <QGridLayout>
#include <QGroupBox>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace robotpages {

JogPage::JogPage(QObject* parent)
    : zarvo::BasePage(QStringLiteral("jog"), tr("Jog"), parent)
    , m_page(new QWidget)
{
    m_page->setObjectName(QStringLiteral("JogPage"));
    m_page->setAttribute(Qt::WA_StyledBackground);
    auto* layout = new QVBoxLayout(m_page);

    auto* speed = new QGroupBox(tr("Speed override"), m_page);
    speed->setObjectName(QStringLiteral("grpSpeed"));
    auto* speedLayout = new QVBoxLayout(speed);
    m_speed = new TouchableSlider(speed);
    m_speed->setObjectName(QStringLiteral("sldSpeed"));
    m_speed->setMin(1);
    m_speed->setMax(100);
    m_speed->setValue(10);
    m_speed->setSuffix(QStringLiteral("%"));
    speedLayout->addWidget(m_speed);
    layout->addWidget(speed);
    connect(m_speed, &TouchableSlider::valueChanged, this, &JogPage::sendSpeed);

    auto* joints = new QGroupBox(tr("Joints"), m_page);
    joints->setObjectName(QStringLiteral("grpJoints"));
    auto* grid = new QGridLayout(joints);
    for (int axis = 0; axis < JointCount; ++axis) {
        grid->addWidget(new QLabel(tr("J%1").arg(axis + 1), joints), axis, 0);
        auto* angle = new QLabel(joints);
        angle->setObjectName(QStringLiteral("lblJoint%1").arg(axis + 1));
        angle->setProperty("role", QStringLiteral("value"));
        grid->addWidget(angle, axis, 1);
        m_angles.append(angle);
        int column = 2;
        for (int direction : {-1, 1}) {
            auto* button =
                new QPushButton(direction < 0 ? QStringLiteral("−") : QStringLiteral("+"), joints);
            button->setObjectName(
                QStringLiteral("btnJog%1%2")
                    .arg(axis + 1)
                    .arg(direction < 0 ? QStringLiteral("Minus") : QStringLiteral("Plus")));
            connect(button, &QPushButton::clicked, this,
                    [this, axis, direction] { jog(axis, direction); });
            grid->addWidget(button, axis, column++);
        }
    }
    layout->addWidget(joints);
    layout->addStretch(1);

    // Jogging moves the arm: only by hand, with the robot at rest, and for a
    // user whose level allows it.
    autoUpdate(true, true, true, false);
    refreshJoints();
}

JogPage::~JogPage()
{
    delete m_page.data();
}

QWidget* JogPage::wgt()
{
    return m_page;
}

void JogPage::init()
{
    connect(velk::m(QStringLiteral("zarvo.r.joint")), &velk::ModuleObject::changed, this,
            &JogPage::refreshJoints);
    updateAvailability();
}

void JogPage::render()
{
    renderPage(m_page);
}

void JogPage::refreshJoints()
{
    const QVariantList joints = velk::m(QStringLiteral("zarvo.r.joint"))->getList();
    for (int axis = 0; axis < m_angles.size(); ++axis) {
        m_angles.at(axis)->setText(axis < joints.size()
                                       ? QString::number(joints.at(axis).toDouble(), 'f', 2)
                                       : QStringLiteral("–"));
    }
}

void JogPage::jog(int axis, int direction)
{
    rc()->request(QStringLiteral("motion"), QStringLiteral("jog.start"),
                  QJsonObject{{QStringLiteral("space"), 0},
                              {QStringLiteral("axis"), axis},
                              {QStringLiteral("direction"), direction}});
}

void JogPage::sendSpeed(int percent)
{
    rc()->request(QStringLiteral("motion"), QStringLiteral("jog.set_params"),
                  QJsonObject{{QStringLiteral("speed"), percent},
                              {QStringLiteral("mode"), 0},
                              {QStringLiteral("step"), 1.0}});
}

} // namespace robotpages
