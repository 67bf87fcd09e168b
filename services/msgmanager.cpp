#include "services/msgmanager.h"

#include <QAbstractButton>

MsgManager::MsgManager(QObject* parent)
    : pomr::BModule(parent)
{
}

MsgManager::~MsgManager() = default;

QString MsgManager::name() const
{
    return QStringLiteral("msg");
}

QString MsgManager::styleSheet()
{
    return QStringLiteral(
        "QMessageBox{border:2px solid rgb(218,221,223);background-color:rgb(255,255,255);}"
        "QPushButton:focus{outline: none;}"
        "QPushButton{padding:10px;min-width:100px;border:hide;background-color:rgb(51,51,51);"
        "color:rgb(255,255,255);}"
        "QPushButton:pressed{background-color:rgb(150,150,150);}");
}

QString MsgManager::title(MSG_TYPE type)
{
    switch (type) {
    case MSG_WARNING:
        return QObject::tr("Warning");
    case MSG_INFORMATION:
        return QObject::tr("Information");
    case MSG_QUESTION:
        return QObject::tr("Question");
    case MSG_WARNING_ALERT:
        return QObject::tr("Warning!");
    case MSG_ERROR:
        return QObject::tr("Error!");
    case MSG_FATAL:
        return QObject::tr("ERROR");
    case MSG_DEFAULT:
        break;
    }
    return QObject::tr("Info!");
}

QMessageBox::Icon MsgManager::icon(MSG_TYPE type)
{
    switch (type) {
    case MSG_WARNING: // the plain warning deliberately looks informational
    case MSG_INFORMATION:
        return QMessageBox::Information;
    case MSG_QUESTION:
        return QMessageBox::Question;
    case MSG_WARNING_ALERT:
        return QMessageBox::Warning;
    case MSG_ERROR:
    case MSG_FATAL:
        return QMessageBox::Critical;
    case MSG_DEFAULT:
        break;
    }
    return QMessageBox::NoIcon;
}

QMessageBox* MsgManager::buildMsgBox(QWidget* parent, MSG_TYPE type, const QString& text)
{
    Q_UNUSED(parent)
    auto* box = new QMessageBox(icon(type), title(type), text, QMessageBox::NoButton, nullptr);
    box->setWindowFlags(Qt::Dialog | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    box->setMinimumHeight(300);
    box->setMaximumWidth(600);
    box->setStyleSheet(styleSheet());
    return box;
}

void MsgManager::applyButtonLabels(QMessageBox* box)
{
    const struct
    {
        QMessageBox::StandardButton button;
        const char* label;
    } labels[] = {
        {QMessageBox::Ok, QT_TRANSLATE_NOOP("QObject", "OK")},
        {QMessageBox::Cancel, QT_TRANSLATE_NOOP("QObject", "Cancel")},
        {QMessageBox::Save, QT_TRANSLATE_NOOP("QObject", "Save")},
        {QMessageBox::Discard, QT_TRANSLATE_NOOP("QObject", "Discard")},
        {QMessageBox::Yes, QT_TRANSLATE_NOOP("QObject", "Yes")},
        {QMessageBox::No, QT_TRANSLATE_NOOP("QObject", "No")},
        {QMessageBox::Retry, QT_TRANSLATE_NOOP("QObject", "Retry")},
        {QMessageBox::Ignore, QT_TRANSLATE_NOOP("QObject", "Above")},
        {QMessageBox::Apply, QT_TRANSLATE_NOOP("QObject", "Below")},
        {QMessageBox::Help, QT_TRANSLATE_NOOP("QObject", "Auxiliary point")},
        {QMessageBox::Reset, QT_TRANSLATE_NOOP("QObject", "End point")},
    };
    for (const auto& entry : labels) {
        box->setButtonText(entry.button, QObject::tr(entry.label));
    }
}

QMessageBox::StandardButton MsgManager::showBox(MSG_TYPE type, const QString& text,
                                                QMessageBox::StandardButtons buttons,
                                                QMessageBox::StandardButton defaultButton)
{
    QMessageBox* box = buildMsgBox(nullptr, type, text);
    box->setStandardButtons(buttons);
    box->setDefaultButton(defaultButton);
    applyButtonLabels(box);
    const int result = box->exec();
    delete box;
    return static_cast<QMessageBox::StandardButton>(result);
}

QMessageBox::StandardButton MsgManager::showMsg(QWidget* parent, MSG_TYPE type, const QString& text,
                                                QMessageBox::StandardButtons buttons,
                                                QMessageBox::StandardButton defaultButton)
{
    Q_UNUSED(parent)
    return showBox(type, text, buttons, defaultButton);
}

QMessageBox::StandardButton MsgManager::showUniqueMsg(QWidget* parent, MSG_TYPE type,
                                                      const QString& key, bool flag,
                                                      const QString& text,
                                                      QMessageBox::StandardButtons buttons,
                                                      QMessageBox::StandardButton defaultButton)
{
    Q_UNUSED(parent)
    Q_UNUSED(key)
    Q_UNUSED(flag)
    return showBox(type, text, buttons, defaultButton);
}

QMessageBox::ButtonRole MsgManager::showMsgBox(QMessageBox* box)
{
    if (!box || box->exec() == 0) {
        return QMessageBox::NoRole;
    }
    return box->buttonRole(box->clickedButton());
}

bool MsgManager::hasMsgBox(const QString& key)
{
    Q_UNUSED(key)
    return false;
}

void MsgManager::clearErrorMsg() {}

void MsgManager::clearUniqueErrorMsg(int code)
{
    const QString key = QString::number(code);
    Q_UNUSED(key)
}
